// The file dialog drawn inside a host's ImGui frame as a popup, a window or the whole viewport.
#include "glimgui_filedialog.h"

#include "glimgui_fonts.h"
#include "glimgui_view.h"

#include <imgui.h>

#include <chrono>
#include <cstdio>

namespace
{

double SecondsNow()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

} // namespace

GLImGuiFileDialog::GLImGuiFileDialog(Presentation DialogStyle)
    : FilesSelected(Panel.FilesSelected), FileSelected(Panel.FileSelected), Cancelled(Panel.Cancelled),
      StatusChanged(Panel.StatusChanged), Style(DialogStyle), Glyphs(std::make_unique<GLImGuiGlyphs>()),
      View(std::make_unique<GLImGuiView>())
{
    Host.SetContent(&Panel);
    Host.bVisible = false;
    Panel.FilesSelected.connect([this](const std::vector<std::string>& Paths) { Selected = Paths; });
    View->Glyphs = Glyphs.get();
    // One ImGui id per dialog, whatever the title, so that several can coexist.
    char id[32];
    std::snprintf(id, sizeof(id), "###glfd%p", static_cast<void*>(this));
    Label = id;
}

GLImGuiFileDialog::~GLImGuiFileDialog() = default;

void GLImGuiFileDialog::Open(const std::string& Path)
{
    Selected.clear();
    View->ForgetDump();
    Host.bVisible = true;
    Panel.OpenAtPath(Path);
    bOpen = Host.bVisible; // a slot may have closed it already
    bPopupPending = bOpen;
}

void GLImGuiFileDialog::Close()
{
    if (bOpen && Host.bVisible && Panel.CancelButton != nullptr)
    {
        Panel.CancelButton->Click();
    }
    Host.bVisible = false;
}

void GLImGuiFileDialog::Finish()
{
    bOpen = false;
    bPopupPending = false;
}

bool GLImGuiFileDialog::Draw(const char* Title)
{
    if (!bOpen)
    {
        return false;
    }
    const std::string label = (Title != nullptr ? std::string(Title) : std::string()) + Label;
    if (!Host.bVisible)
    {
        // Finished outside the frame (queued input): the popup still has to be closed.
        if (Style == Presentation::Modal && ImGui::BeginPopupModal(label.c_str()))
        {
            ImGui::CloseCurrentPopup();
            ImGui::EndPopup();
        }
        Finish();
        return true;
    }
    const ImGuiViewport* viewport = ImGui::GetMainViewport();
    const float line = ImGui::GetFrameHeight();
    const ImVec2 size(InitialWidth > 0.0F ? InitialWidth : line * 36.0F,
                      InitialHeight > 0.0F ? InitialHeight : line * 22.0F);
    const ImVec2 centre(viewport->WorkPos.x + viewport->WorkSize.x * 0.5F,
                        viewport->WorkPos.y + viewport->WorkSize.y * 0.5F);
    // NoNavInputs keeps ImGui's own keyboard navigation out: the panel owns the focus order.
    ImGuiWindowFlags flags = ImGuiWindowFlags_NoScrollbar | ImGuiWindowFlags_NoScrollWithMouse |
                             ImGuiWindowFlags_NoSavedSettings | ImGuiWindowFlags_NoNavInputs;
    bool bKeepOpen = true;
    bool bShown = false;
    switch (Style)
    {
    case Presentation::FullViewport:
        ImGui::SetNextWindowPos(viewport->WorkPos);
        ImGui::SetNextWindowSize(viewport->WorkSize);
        ImGui::PushStyleVar(ImGuiStyleVar_WindowPadding, ImVec2(0.0F, 0.0F));
        ImGui::PushStyleVar(ImGuiStyleVar_WindowBorderSize, 0.0F);
        ImGui::PushStyleVar(ImGuiStyleVar_WindowRounding, 0.0F);
        flags |=
            ImGuiWindowFlags_NoDecoration | ImGuiWindowFlags_NoMove | ImGuiWindowFlags_NoBringToFrontOnFocus;
        bShown = ImGui::Begin(label.c_str(), nullptr, flags);
        ImGui::PopStyleVar(3);
        break;
    case Presentation::Window:
        ImGui::SetNextWindowSize(size, ImGuiCond_Appearing);
        ImGui::SetNextWindowPos(centre, ImGuiCond_Appearing, ImVec2(0.5F, 0.5F));
        if (bPopupPending)
        {
            ImGui::SetNextWindowFocus();
        }
        bShown = ImGui::Begin(label.c_str(), &bKeepOpen, flags | ImGuiWindowFlags_NoCollapse);
        break;
    case Presentation::Modal:
    default:
        if (bPopupPending)
        {
            ImGui::OpenPopup(label.c_str());
        }
        ImGui::SetNextWindowSize(size, ImGuiCond_Appearing);
        ImGui::SetNextWindowPos(centre, ImGuiCond_Appearing, ImVec2(0.5F, 0.5F));
        bShown = ImGui::BeginPopupModal(label.c_str(), &bKeepOpen, flags);
        break;
    }
    const bool bJustOpened = bPopupPending;
    bPopupPending = false;

    if (bShown)
    {
        FontIndex = -1;
        const ImFontAtlas* atlas = ImGui::GetIO().Fonts;
        for (int i = 0; i < atlas->Fonts.Size; ++i)
        {
            FontIndex = atlas->Fonts[i] == ImGui::GetFont() ? i : FontIndex;
        }
        View->bDumpLayout = bDumpLayout;
        View->Draw(Panel, ImGui::IsWindowFocused(ImGuiFocusedFlags_RootAndChildWindows), SecondsNow());
        if (!bDeferInput)
        {
            View->ApplyInput(Panel);
        }
    }
    // The window's close box, or a popup closed from outside, cancels like the Cancel button.
    const bool bLost = Style == Presentation::Modal && !bShown && !bJustOpened;
    if ((!bKeepOpen || bLost) && Host.bVisible)
    {
        Close();
    }
    if (Style == Presentation::Modal)
    {
        if (bShown && !Host.bVisible)
        {
            ImGui::CloseCurrentPopup();
        }
        if (bShown)
        {
            ImGui::EndPopup();
        }
    }
    else
    {
        ImGui::End();
    }
    if (!Host.bVisible)
    {
        Finish();
        return true;
    }
    return false;
}

void GLImGuiFileDialog::SetWaitFrame(std::function<void()> Frame)
{
    bDeferInput = static_cast<bool>(Frame);
    Panel.WaitFrame = std::move(Frame);
}

void GLImGuiFileDialog::ApplyInput()
{
    View->ApplyInput(Panel);
}

bool GLImGuiFileDialog::AddMissingGlyphs(ImFontAtlas& Atlas)
{
    if (FontIndex < 0 || FontIndex >= Atlas.Fonts.Size)
    {
        return false;
    }
    return Glyphs->AddMissingGlyphs(Atlas, Atlas.Fonts[FontIndex]);
}

std::vector<char32_t> GLImGuiFileDialog::MissingCodePoints() const
{
    return Glyphs->PendingCodePoints();
}

void GLImGuiFileDialog::SetMainFontFile(const std::string& File)
{
    Glyphs->MainFontFile = File;
}

std::string GLImGuiFileDialog::DesktopFontFile(int& Face)
{
    return GLImGuiGlyphs::DefaultFontFile(Face);
}
