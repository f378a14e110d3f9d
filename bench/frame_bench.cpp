// One frame of the ImGui component drawing the dialog, with 100 rows against 1,000,000 rows
// scrolled to the top, the middle and the end: the table draws only its visible rows, so every
// case should cost about the same. The frame is built in a headless ImGui context (layout,
// widgets, the table, the draw lists); submitting the draw lists to OpenGL does not depend on the
// row count.

#include "glimgui_filedialog.h"

#include <benchmark/benchmark.h>
#include <imgui.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace
{

GLTableModel::RowList SyntheticRows(int Count)
{
    GLTableModel::RowList rows;
    rows.reserve(static_cast<std::size_t>(Count));
    for (int i = 0; i < Count; ++i)
    {
        rows.push_back({"Holiday photo " + std::to_string(i) + ".jpg", i % 10 == 0 ? "Dir" : "File", "1.5 MB",
                        "2024-05-11 10:28"});
    }
    return rows;
}

// Rows shown, and the row scrolled to (-1: the top).
void Frame(benchmark::State& State, int Rows, int FocusRow)
{
    ImGui::CreateContext();
    ImGuiIO& io = ImGui::GetIO();
    io.IniFilename = nullptr;
    io.DisplaySize = ImVec2(1280.0F, 800.0F);
    unsigned char* pixels = nullptr;
    int width = 0;
    int height = 0;
    io.Fonts->GetTexDataAsRGBA32(&pixels, &width, &height);

    GLImGuiFileDialog dialog(GLImGuiFileDialog::Presentation::FullViewport);
    dialog.Open("/");
    GLFileDialogPanel& panel = dialog.Panel;
    panel.TableModel->SetRows(SyntheticRows(Rows));
    panel.FileTable->FocusedRow = FocusRow;
    panel.FileTable->SelectedRow = FocusRow;
    panel.FileTable->bScrollToFocus = FocusRow >= 0;
    const auto oneFrame = [&]
    {
        io.DeltaTime = 1.0F / 60.0F;
        ImGui::NewFrame();
        dialog.Draw("");
        ImGui::Render();
        benchmark::DoNotOptimize(ImGui::GetDrawData()->TotalVtxCount);
    };
    for (int warm = 0; warm < 3; ++warm) // settle the scroll position and the layout
    {
        oneFrame();
    }
    for (auto _ : State)
    {
        oneFrame();
    }
    ImGui::DestroyContext();
}

class RatioReporter : public benchmark::ConsoleReporter
{
public:
    std::map<std::string, double> Median;
    void ReportRuns(const std::vector<Run>& Reports) override
    {
        for (const Run& run : Reports)
        {
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median")
            {
                // CPU time: the frame runs on one thread, and wall time on a shared machine
                // mostly measures the neighbours.
                Median[run.run_name.function_name] = run.GetAdjustedCPUTime();
            }
        }
        ConsoleReporter::ReportRuns(Reports);
    }
};

} // namespace

int main(int argc, char** argv)
{
    constexpr int Million = 1000000;
    benchmark::RegisterBenchmark("frame/100", Frame, 100, -1)->Repetitions(9);
    benchmark::RegisterBenchmark("frame/1000000/top", Frame, Million, -1)->Repetitions(9);
    benchmark::RegisterBenchmark("frame/1000000/middle", Frame, Million, Million / 2)->Repetitions(9);
    benchmark::RegisterBenchmark("frame/1000000/end", Frame, Million, Million - 1)->Repetitions(9);
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    const double base = reporter.Median["frame/100"];
    if (base > 0.0)
    {
        std::printf(
            "\nOne frame of the ImGui component (median CPU time): 100 rows %.1f us; 1,000,000 rows at the "
            "top "
            "%.1f us (%.2fx), in the middle %.1f us (%.2fx), at the end %.1f us (%.2fx)\n",
            base / 1000.0, reporter.Median["frame/1000000/top"] / 1000.0,
            reporter.Median["frame/1000000/top"] / base, reporter.Median["frame/1000000/middle"] / 1000.0,
            reporter.Median["frame/1000000/middle"] / base, reporter.Median["frame/1000000/end"] / 1000.0,
            reporter.Median["frame/1000000/end"] / base);
    }
    return 0;
}
