// One frame of the ImGui component drawing the dialog, with 100 rows against 1,000,000 rows
// scrolled to the top, the middle and the end: the table draws only its visible rows, so every
// case should cost about the same. The frame is built in a headless ImGui context (layout,
// widgets, the table, the draw lists); submitting the draw lists to OpenGL does not depend on the
// row count. Besides each case on its own, the cases are timed in turns (a few frames of each,
// round after round, in thread CPU time), so that the machine's drift falls on all of them.

#include "glimgui_filedialog.h"

#include <benchmark/benchmark.h>
#include <imgui.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

namespace
{

constexpr int Million = 1000000;

GLTableModel::RowList SyntheticRows(int Count)
{
    GLTableModel::RowList rows;
    rows.reserve(static_cast<std::size_t>(Count));
    char name[48];
    for (int i = 0; i < Count; ++i)
    {
        // Equally long names everywhere, so that only the row count differs between cases.
        std::snprintf(name, sizeof(name), "Holiday photo %07d.jpg", i);
        rows.push_back({name, i % 10 == 0 ? "Dir" : "File", "1.5 MB", "2024-05-11 10:28"});
    }
    return rows;
}

// One dialog in its own headless ImGui context: Rows rows, scrolled to FocusRow (-1: the top).
class FrameCase
{
public:
    FrameCase(int Rows, int FocusRow) : Context(ImGui::CreateContext())
    {
        ImGui::SetCurrentContext(Context);
        ImGuiIO& io = ImGui::GetIO();
        io.IniFilename = nullptr;
        io.DisplaySize = ImVec2(1280.0F, 800.0F);
        unsigned char* pixels = nullptr;
        int width = 0;
        int height = 0;
        io.Fonts->GetTexDataAsRGBA32(&pixels, &width, &height);
        Dialog = std::make_unique<GLImGuiFileDialog>(GLImGuiFileDialog::Presentation::FullViewport);
        Dialog->Open("/");
        GLFileDialogPanel& panel = Dialog->Panel;
        panel.TableModel->SetRows(SyntheticRows(Rows));
        panel.FileTable->FocusedRow = FocusRow;
        panel.FileTable->SelectedRow = FocusRow;
        panel.FileTable->bScrollToFocus = FocusRow >= 0;
        for (int warm = 0; warm < 3; ++warm) // settle the scroll position and the layout
        {
            Frame();
        }
    }
    ~FrameCase()
    {
        Dialog.reset();
        ImGui::DestroyContext(Context);
    }
    FrameCase(const FrameCase&) = delete;
    FrameCase& operator=(const FrameCase&) = delete;
    FrameCase(FrameCase&&) = delete;
    FrameCase& operator=(FrameCase&&) = delete;

    void Frame()
    {
        ImGui::SetCurrentContext(Context);
        ImGui::GetIO().DeltaTime = 1.0F / 60.0F;
        ImGui::NewFrame();
        Dialog->Draw("");
        ImGui::Render();
        benchmark::DoNotOptimize(ImGui::GetDrawData()->TotalVtxCount);
    }

private:
    ImGuiContext* Context;
    std::unique_ptr<GLImGuiFileDialog> Dialog;
};

void Frame(benchmark::State& State, int Rows, int FocusRow)
{
    FrameCase frameCase(Rows, FocusRow);
    for (auto _ : State)
    {
        frameCase.Frame();
    }
}

double ThreadSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

double Median(std::vector<double> Values)
{
    std::sort(Values.begin(), Values.end());
    return Values.empty() ? 0.0 : Values[Values.size() / 2];
}

// The four cases in turns: per round, the median frame of each against the 100-row case.
void InTurns()
{
    constexpr int Rounds = 60;
    constexpr int FramesPerTurn = 20;
    std::array<std::unique_ptr<FrameCase>, 4> cases{
        std::make_unique<FrameCase>(100, -1), std::make_unique<FrameCase>(Million, -1),
        std::make_unique<FrameCase>(Million, Million / 2), std::make_unique<FrameCase>(Million, Million - 1)};
    std::array<std::vector<double>, 4> frame;
    std::array<std::vector<double>, 4> ratio;
    for (int round = 0; round < Rounds; ++round)
    {
        std::array<double, 4> seconds{};
        for (std::size_t i = 0; i < cases.size(); ++i)
        {
            const double started = ThreadSeconds();
            for (int n = 0; n < FramesPerTurn; ++n)
            {
                cases[i]->Frame();
            }
            seconds[i] = (ThreadSeconds() - started) / FramesPerTurn;
            frame[i].push_back(seconds[i]);
        }
        for (std::size_t i = 0; i < cases.size(); ++i)
        {
            ratio[i].push_back(seconds[i] / seconds[0]);
        }
    }
    std::printf(
        "\nOne frame of the ImGui component, in turns (median thread CPU time): 100 rows %.1f us; "
        "1,000,000 rows at the top %.1f us (%.2fx), in the middle %.1f us (%.2fx), at the end %.1f us "
        "(%.2fx)\n",
        Median(frame[0]) * 1e6, Median(frame[1]) * 1e6, Median(ratio[1]), Median(frame[2]) * 1e6,
        Median(ratio[2]), Median(frame[3]) * 1e6, Median(ratio[3]));
}

} // namespace

int main(int argc, char** argv)
{
    benchmark::RegisterBenchmark("frame/100", Frame, 100, -1);
    benchmark::RegisterBenchmark("frame/1000000/top", Frame, Million, -1);
    benchmark::RegisterBenchmark("frame/1000000/middle", Frame, Million, Million / 2);
    benchmark::RegisterBenchmark("frame/1000000/end", Frame, Million, Million - 1);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    InTurns();
    return 0;
}
