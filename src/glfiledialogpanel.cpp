#include "glfiledialogpanel.h"

#include <algorithm>

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
    SetFocus(FileTable);
    Layout();
}

GLFileDialogPanel::~GLFileDialogPanel() = default;

void GLFileDialogPanel::WireEvents()
{
    // Slots look the widgets up through the members at call time, so an owner that
    // detaches a widget (sets its pointer to null) is honoured.
    FileTable->RowActivated.connect([this](int /*Row*/) { EnterSelectedEntry(); });
    FileTable->SelectionChanged.connect([this] { SyncSelectionFromTable(); });
    LocationInput->Submitted.connect([this] { NavigateFromLocationInput(true); });
    LocationInput->TextChanged.connect([this](const std::string& /*Text*/) { OnLocationEdited(); });
    UpButton->Clicked.connect([this] { NavigateToParent(); });
    AcceptButton->Clicked.connect([this] { OpenSelectedPath(); });
    CancelButton->Clicked.connect([this] { CancelDialog(); });
    KeyPressed.connect([this](GLKey Key, GLModifiers Mods) { OnKeyPressed(Key, Mods); });
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
        CancelDialog();
    }
    else if (Key == GLKey::Up && Mods.bAlt)
    {
        NavigateToParent();
    }
    else if (Key == GLKey::Backspace && FileTable != nullptr && FocusedWidget == FileTable)
    {
        NavigateToParent();
    }
}

std::string GLFileDialogPanel::WindowTitle() const
{
    return TitleLabel != nullptr ? TitleLabel->Text : std::string();
}

void GLFileDialogPanel::Layout()
{
    const float gap = Metrics.Spacing;
    const float hgap = std::max(Metrics.Spacing, Metrics.CharWidth);
    const float line = Metrics.LineHeight;
    const float left = Bounds.X + gap;
    const float width = std::max(0.0F, Bounds.Width - 2.0F * gap);
    const float buttonWidth = Metrics.CharWidth * 10.0F;
    const float upWidth = Metrics.CharWidth * 6.0F;

    float top = Bounds.Y + gap;
    const auto place = [](GLWidget* Widget, float X, float Y, float W, float H) {
        if (Widget != nullptr)
        {
            Widget->Bounds = GLRect{X, Y, std::max(0.0F, W), std::max(0.0F, H)};
        }
    };

    place(TitleLabel, left, top, width, line);
    top += line + gap;
    place(UpButton, left, top, upWidth, line);
    place(LocationInput, left + upWidth + hgap, top, width - upWidth - hgap, line);
    top += line + gap;

    // From the bottom up: buttons, status, hint.
    float bottom = Bounds.Y + Bounds.Height - gap;
    const float buttonsTop = bottom - line;
    place(AcceptButton, left + width - buttonWidth, buttonsTop, buttonWidth, line);
    place(CancelButton, left + width - 2.0F * buttonWidth - hgap, buttonsTop, buttonWidth, line);
    bottom = buttonsTop - gap;
    place(StatusLabel, left, bottom - line, width, line);
    bottom -= line + gap;
    place(HintLabel, left, bottom - line, width, line);
    bottom -= line + gap;

    place(FileTable, left, top, width, bottom - top);
    if (FileTable != nullptr && line > 0.0F)
    {
        // One line goes to the header row.
        FileTable->PageRows = std::max(1, static_cast<int>(FileTable->Bounds.Height / line) - 1);
    }
}
