// The panel's construction, event wiring, layout, status writer and cancellation.
#include "glfiledialogpanel.h"

#include <algorithm>
#include <cmath>

namespace
{

// Row numbers mean nothing in another folder: a range or scroll position left over from the
// old listing would point at unrelated entries (and Open would accept them). The listing
// operations leave those fields alone, so every action that can change the folder runs here.
template <typename Action> void RunNavigation(GLFileDialogPanel& Panel, Action&& Act)
{
    const std::string before = Panel.CurrentDirectory;
    Act();
    if (Panel.FileTable != nullptr && Panel.CurrentDirectory != before)
    {
        Panel.FileTable->ResetView();
    }
}

} // namespace

GLFileDialogPanel::GLFileDialogPanel()
{
    TitleLabel = AddChild<GLLabel>();
    UpButton = AddChild<GLButton>();
    LocationInput = AddChild<GLTextInput>();
    FileTable = AddChild<GLTableView>();
    HintLabel = AddChild<GLLabel>();
    StatusLabel = AddChild<GLLabel>();
    CancelButton = AddChild<GLButton>();
    AcceptButton = AddChild<GLButton>();

    UpButton->Label = "Up";
    CancelButton->Label = "Cancel";
    TableModel = std::make_shared<GLTableModel>();
    TableModel->SetHeaders({"Name", "Type", "Size", "Modified"});
    FileTable->Model = TableModel;

    bHideHostOnFinish = true;
    SyncSelectionModeLabels();
    WireEvents();
    CreateExtensionWidgets();
    SetFocus(FileTable);
    Layout();
}

GLFileDialogPanel::~GLFileDialogPanel() = default;

void GLFileDialogPanel::WireEvents()
{
    // Slots look the widgets up through the members at call time, so an owner that
    // detaches a widget (sets its pointer to null) is honoured. Input that arrives while an
    // operation waits on the file system (inside WaitFrame) gives up the wait and is acted on
    // once that operation has unwound: the table and Entries still show the listing the user saw.
    FileTable->RowActivated.connect(
        [this](int /*Row*/)
        {
            if (!bInWaitFrame)
            {
                RunUserOperation([this] { RunNavigation(*this, [this] { EnterSelectedEntry(); }); });
                return;
            }
            const FileEntry* entry = SelectedEntry();
            if (entry == nullptr)
            {
                return;
            }
            const std::string target = entry->Path;
            if (entry->bDirectory)
            {
                DeferWhileWaiting(
                    [this, target]
                    { RunNavigation(*this, [this, &target] { NavigateToPath(target, true); }); },
                    false);
                return;
            }
            // Activating a file chooses it, as it would have without the wait.
            DeferWhileWaiting(
                [this, target]
                {
                    RunNavigation(*this, [this, &target] { OpenAtPath(target); });
                    if (!bAbandonRequested)
                    {
                        OpenSelectedPath();
                    }
                },
                false);
        });
    FileTable->SelectionChanged.connect(
        [this]
        {
            // During a wait the listing about to come resets the selection anyway.
            if (bInWaitFrame)
            {
                return;
            }
            // Only multiple-file mode accepts a range; elsewhere a shift move selects one row, so
            // that what is highlighted is what Open takes.
            if (FileTable != nullptr && FileTable->bRangeSelection &&
                CurrentMode != SelectionMode::OpenMultipleFiles)
            {
                FileTable->DropRange();
            }
            SyncSelectionFromTable();
        });
    LocationInput->Submitted.connect(
        [this]
        {
            // Enter acts on the typed text, which may name a file to accept at once: a range left
            // in the table must not be what gets accepted instead.
            if (FileTable != nullptr)
            {
                FileTable->DropRange();
            }
            if (!bInWaitFrame)
            {
                RunUserOperation([this]
                                 { RunNavigation(*this, [this] { NavigateFromLocationInput(true); }); });
                return;
            }
            // The listing that gives way writes its folder into the location: the typed text is
            // put back before it is acted on.
            const std::string typed = LocationInput != nullptr ? LocationInput->Text : std::string();
            DeferWhileWaiting(
                [this, typed]
                {
                    if (LocationInput != nullptr)
                    {
                        bSyncingLocationInput = true;
                        LocationInput->SetText(typed, false);
                        bSyncingLocationInput = false;
                    }
                    RunNavigation(*this, [this] { NavigateFromLocationInput(true); });
                },
                false);
        });
    LocationInput->TextChanged.connect([this](const std::string& /*Text*/) { OnLocationEdited(); });
    UpButton->Clicked.connect([this] { GoUp(); });
    AcceptButton->Clicked.connect(
        [this]
        {
            if (bInWaitFrame)
            {
                DeferWhileWaiting([this] { OpenSelectedPath(); }, false);
                return;
            }
            RunUserOperation([this] { OpenSelectedPath(); });
        });
    CancelButton->Clicked.connect([this] { EndDialog(); });
    KeyPressed.connect([this](GLKey Key, GLModifiers Mods) { OnKeyPressed(Key, Mods); });
}

void GLFileDialogPanel::GoUp()
{
    if (!bInWaitFrame)
    {
        RunUserOperation([this] { RunNavigation(*this, [this] { NavigateToParent(); }); });
        return;
    }
    // Up from a folder still being read, or from a path still being looked up, is its parent.
    const std::string from = WaitTarget.empty() ? CurrentDirectory : WaitTarget;
    DeferWhileWaiting(
        [this, from]
        {
            const std::filesystem::path parent = std::filesystem::path(from).parent_path();
            RunNavigation(*this,
                          [this, &parent] { NavigateToPath(parent.empty() ? "/" : parent.native(), true); });
        },
        false);
}

void GLFileDialogPanel::EndDialog()
{
    if (bInWaitFrame)
    {
        DeferWhileWaiting([this] { CancelDialog(); }, true);
        return;
    }
    CancelDialog();
}

void GLFileDialogPanel::OnLocationEdited()
{
    if (bSyncingLocationInput || FileTable == nullptr)
    {
        return;
    }
    // What the user types is what the accept button takes, so a row selection must go.
    if (FileTable->SelectedRow >= 0 || FileTable->FocusedRow >= 0 || FileTable->bRangeSelection)
    {
        FileTable->ClearSelection();
    }
}

void GLFileDialogPanel::OnKeyPressed(GLKey Key, GLModifiers Mods)
{
    if (Key == GLKey::Escape)
    {
        EndDialog();
    }
    else if ((Key == GLKey::Up && Mods.bAlt) ||
             (Key == GLKey::Backspace && FileTable != nullptr && FocusedWidget == FileTable))
    {
        GoUp();
    }
}

void GLFileDialogPanel::SetStatusTextInternal(const std::string& Text, bool bEmitSignal)
{
    if (&Text != &StatusText)
    {
        StatusText = Text;
    }
    if (StatusLabel != nullptr && &StatusLabel->Text != &StatusText)
    {
        StatusLabel->Text = StatusText;
    }
    if (bEmitSignal)
    {
        StatusChanged.emit(StatusText);
    }
}

void GLFileDialogPanel::CancelDialog()
{
    if (bHideHostOnFinish && HostWindow != nullptr)
    {
        HostWindow->bVisible = false;
    }
    Cancelled.emit();
    SetStatusTextInternal("Closed file dialog.", true);
}

std::string GLFileDialogPanel::WindowTitle() const
{
    return TitleLabel != nullptr ? TitleLabel->Text : std::string();
}

void GLFileDialogPanel::Layout()
{
    const float gap = std::max(0.0F, Metrics.Spacing);
    const float hgap = std::max(gap, Metrics.CharWidth);
    const float line = std::max(0.0F, Metrics.LineHeight);
    const float left = Bounds.X + gap;
    const float width = std::max(0.0F, Bounds.Width - 2.0F * gap);
    // Narrow panels shrink the buttons instead of letting them overlap (whole units, so that
    // a terminal's cells do not round them into each other).
    const float buttonWidth =
        std::min(Metrics.CharWidth * 10.0F, std::floor(std::max(0.0F, width - hgap) / 2.0F));
    const float upWidth = std::min(Metrics.CharWidth * 6.0F, std::floor(width / 4.0F));

    const auto place = [](GLWidget* Widget, float X, float Y, float W, float H)
    {
        if (Widget != nullptr)
        {
            Widget->Bounds = GLRect{X, Y, std::max(0.0F, W), std::max(0.0F, H)};
        }
    };

    float top = Bounds.Y + gap;
    place(TitleLabel, left, top, width, line);
    top += line + gap;
    place(UpButton, left, top, upWidth, line);
    place(LocationInput, left + upWidth + hgap, top, width - upWidth - hgap, line);
    top += line + gap;

    // Below the table: hint, status, buttons. When the table would not fit its header and
    // one row, the hint is hidden and its line goes to the table.
    const float bottom = Bounds.Y + Bounds.Height - gap;
    const float statusAndButtons = 2.0F * line + gap + ExtensionRowsHeight(width, buttonWidth, hgap);
    const bool bHint = HintLabel != nullptr && bottom - top - statusAndButtons - gap >= 3.0F * line + gap;
    if (HintLabel != nullptr)
    {
        HintLabel->bShown = bHint;
    }
    const float below = statusAndButtons + (bHint ? line + gap : 0.0F);
    const float tableHeight = std::max(0.0F, bottom - top - below - gap);
    place(FileTable, left, top, width, tableHeight);

    // Stacked downwards from the table, so that a panel too short for everything pushes the
    // last rows past its edge rather than over each other.
    float y = PlaceNameRow(left, top + tableHeight + gap, width);
    if (bHint)
    {
        place(HintLabel, left, y, width, line);
        y += line + gap;
    }
    place(StatusLabel, left, y, width, line);
    y = PlaceOptionRow(left, y + line + gap, width, buttonWidth, hgap);
    place(AcceptButton, left + width - buttonWidth, y, buttonWidth, line);
    place(CancelButton, left + width - 2.0F * buttonWidth - hgap, y, buttonWidth, line);

    if (FileTable != nullptr && line > 0.0F)
    {
        // One line goes to the header row.
        FileTable->PageRows = std::max(1, static_cast<int>(tableHeight / line) - 1);
        FileTable->ScrollBy(0); // a taller view may now show the last rows from a smaller TopRow
    }
}
