// The file dialog as a drop-in for Dear ImGui applications: open it, draw it every frame.
#pragma once

#include "glchildwindow.h"
#include "glfiledialogpanel.h"
#include "signalslot.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

class GLImGuiView;
class GLImGuiGlyphs;
struct ImFontAtlas;

// The file dialog drawn inside the host's own ImGui frame, with the host's fonts and style, as a
// modal popup, an ordinary window, or over the whole viewport. It reads the mouse, the keys and
// typed text from ImGui's IO; the host only opens it and draws it:
//
//     GLImGuiFileDialog dialog;                                   // once
//     dialog.FilesSelected.connect([](const std::vector<std::string>& Paths) { ... });
//     if (ImGui::Button("Open...")) dialog.Open(folder);          // in the frame
//     dialog.Draw("Open file");                                   // every frame
class GLImGuiFileDialog
{
public:
    // How the dialog sits among the host's windows.
    enum class Presentation
    {
        Modal,        // a modal popup: the rest of the host's interface waits
        Window,       // an ordinary movable window beside the host's own
        FullViewport, // covers the main viewport, undecorated (a program that is only the dialog)
    };

    // A dialog shown as Style; the panel starts in OpenFile mode.
    explicit GLImGuiFileDialog(Presentation Style = Presentation::Modal);
    ~GLImGuiFileDialog();
    GLImGuiFileDialog(const GLImGuiFileDialog&) = delete;
    GLImGuiFileDialog& operator=(const GLImGuiFileDialog&) = delete;
    GLImGuiFileDialog(GLImGuiFileDialog&&) = delete;
    GLImGuiFileDialog& operator=(GLImGuiFileDialog&&) = delete;

    // Shows the dialog at a folder, or at a file to pre-select (empty: the home folder); it
    // appears at the next Draw. Forgets the result of an earlier cycle.
    void Open(const std::string& Path = std::string());
    // Draws the dialog if it is open, titled Title; call every frame between ImGui::NewFrame and
    // ImGui::Render. Returns true on the frame the dialog finished (chosen or cancelled).
    bool Draw(const char* Title);
    // Cancels an open dialog as its Cancel button would (Cancelled fires).
    void Close();
    // Whether the dialog is showing.
    bool IsOpen() const { return bOpen; }

    // Optional: lets the dialog keep drawing and answering while the file system is slow. Frame
    // draws one whole frame of the host (poll events, new frame, the host's interface with this
    // dialog's Draw, render, present) and then calls ApplyInput. With a frame set, Draw only
    // queues the dialog's input, and the host calls ApplyInput after each frame, outside the
    // ImGui frame, so that an operation that waits can draw frames of its own.
    void SetWaitFrame(std::function<void()> Frame);
    // Hands the input queued by Draw to the dialog; only needed with SetWaitFrame.
    void ApplyInput();

    // What acceptance delivers: one file, several files, or a folder.
    void SetSelectionMode(GLFileDialogPanel::SelectionMode Mode) { Panel.SetSelectionMode(Mode); }
    // Whether the last cycle ended with a choice; stays true until ClearSelected or Open.
    bool HasSelected() const { return !Selected.empty(); }
    // The paths the last cycle chose, in order.
    const std::vector<std::string>& GetSelected() const { return Selected; }
    // Forgets the last choice.
    void ClearSelected() { Selected.clear(); }

    // Between frames (before ImGui::NewFrame): adds to the atlas, merged into the font the dialog
    // draws with, the glyphs of shown names that font lacks, taken from fallback fonts found
    // through fontconfig. Returns true when the atlas was rebuilt: the host's renderer must then
    // upload the font texture again (ImGui_ImplOpenGL3_DestroyFontsTexture and
    // ImGui_ImplOpenGL3_CreateFontsTexture with the OpenGL 3 renderer). Optional.
    bool AddMissingGlyphs(ImFontAtlas& Atlas);
    // Code points of shown texts that the dialog's font lacks and AddMissingGlyphs has not yet
    // looked for, for hosts that load fonts their own way.
    std::vector<char32_t> MissingCodePoints() const;
    // The main font's file, when known: fallback fonts are then sized to its em.
    void SetMainFontFile(const std::string& File);
    // The font file a desktop would use for sans-serif text, as fontconfig picks it (Face: its
    // index in a collection); DejaVu Sans when fontconfig finds none; empty when neither exists.
    static std::string DesktopFontFile(int& Face);

    // The panel and the window state that hosts it, for hosts that want more than this class offers.
    GLFileDialogPanel Panel;
    GLChildWindow Host;

    // Acceptance: every chosen path, then the first one (the panel's own signals).
    Signal<std::vector<std::string>>& FilesSelected;
    Signal<std::string>& FileSelected;
    // The dialog was cancelled (Cancel, Escape, the window's close box, or Close).
    Signal<>& Cancelled;
    // A status message worth showing.
    Signal<std::string>& StatusChanged;

    // The size a Modal or Window dialog first appears with, in pixels; zero: about 50 by 30 lines.
    float InitialWidth = 0.0F;
    float InitialHeight = 0.0F;
    // Writes every change of the drawn layout to standard error, for end-to-end test drivers.
    bool bDumpLayout = false;

private:
    void Finish();

    Presentation Style;
    bool bOpen = false;
    bool bPopupPending = false;
    bool bDeferInput = false;
    std::vector<std::string> Selected;
    std::string Label;
    int FontIndex = -1;
    std::unique_ptr<GLImGuiGlyphs> Glyphs;
    std::unique_ptr<GLImGuiView> View;
};
