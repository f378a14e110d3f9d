// The panel's optional extensions: their widgets, filters and hidden entries, and their layout.

#include "glfiledialogpanel.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

namespace
{

constexpr const char* HiddenShownLabel = "Hidden files: shown";
constexpr const char* HiddenLeftOutLabel = "Hidden files: hidden";

// Moves the last child so that it follows Anchor in the tree (and so in Tab and drawing order).
void MoveLastChildAfter(GLWindow& Window, const GLWidget* Anchor)
{
    auto& children = Window.Children;
    const auto anchor =
        std::find_if(children.begin(), children.end(),
                     [Anchor](const std::unique_ptr<GLWidget>& Child) { return Child.get() == Anchor; });
    if (anchor != children.end())
    {
        std::rotate(std::next(anchor), std::prev(children.end()), children.end());
    }
}

// Terminal-sized width guess for a caption: its characters (not bytes) plus room for a frame.
float CaptionWidth(const std::string& Text, float CharWidth)
{
    const auto characters = std::count_if(
        Text.begin(), Text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; });
    return std::ceil(static_cast<float>(characters + 4) * CharWidth);
}

} // namespace

// ---------------------------------------------------------------------------------------------
// Widgets

void GLFileDialogPanel::CreateExtensionWidgets()
{
    // The name row and the filter follow the table in Tab order; the hidden-files toggle and the
    // question's buttons come after the accept button, so that the tree up to there is unchanged.
    NameLabel = AddChild<GLLabel>();
    MoveLastChildAfter(*this, FileTable);
    NameInput = AddChild<GLTextInput>();
    MoveLastChildAfter(*this, NameLabel);
    FilterChoice = AddChild<GLChoice>();
    MoveLastChildAfter(*this, NameInput);
    HiddenButton = AddChild<GLButton>();
    BackButton = AddChild<GLButton>();
    ReplaceButton = AddChild<GLButton>();

    NameLabel->Text = "Name:";
    FilterChoice->Prefix = "Filter:";
    HiddenButton->Label = HiddenShownLabel;
    BackButton->Label = "Back";
    ReplaceButton->Label = "Replace";
    for (GLWidget* widget : std::initializer_list<GLWidget*>{NameLabel, NameInput, FilterChoice, HiddenButton,
                                                             BackButton, ReplaceButton})
    {
        widget->bShown = false;
    }

    FilterChoice->Changed.connect([this](int Index) { SetActiveFileFilter(Index); });
    HiddenButton->Clicked.connect([this] { ToggleHiddenEntries(); });
    NameInput->Submitted.connect([this] { AcceptSaveName(); });
    NameInput->TextChanged.connect([this](const std::string& /*Text*/) { EndReplaceQuestion(false); });
    BackButton->Clicked.connect(
        [this]
        {
            EndReplaceQuestion(true);
            SetStatusTextInternal("Browsing " + CurrentDirectory, true);
        });
    ReplaceButton->Clicked.connect(
        [this]
        {
            const std::string path = PendingReplacePath;
            EndReplaceQuestion(true);
            if (!path.empty())
            {
                DeliverSavePath(path);
            }
        });
    FileTable->SelectionChanged.connect(
        [this]
        {
            // Picking a file while saving proposes its name, as a start for a new one or to replace it.
            EndReplaceQuestion(false);
            const FileEntry* entry = SelectedEntry();
            if (bSaveMode && NameInput != nullptr && entry != nullptr && !entry->bDirectory)
            {
                NameInput->SetText(entry->Name, false);
            }
        });
}

bool GLFileDialogPanel::HandleKey(GLKey Key, GLModifiers Mods)
{
    if (Key == GLKey::H && Mods.bCtrl && !Mods.bAlt && bHiddenToggleOffered)
    {
        ToggleHiddenEntries();
        return true;
    }
    if (Key == GLKey::Escape && IsAskingToReplace())
    {
        // Escape backs out of the question rather than out of the dialog.
        BackButton->Click();
        return true;
    }
    return GLWindow::HandleKey(Key, Mods);
}

// ---------------------------------------------------------------------------------------------
// Filters and hidden entries

void GLFileDialogPanel::SetFileFilters(std::vector<GLFileFilter> Filters, int ActiveIndex)
{
    FileFilters = std::move(Filters);
    const int count = static_cast<int>(FileFilters.size());
    ActiveFileFilter = count == 0 ? -1 : std::clamp(ActiveIndex, 0, count - 1);
    if (FilterChoice != nullptr)
    {
        std::vector<std::string> captions;
        captions.reserve(FileFilters.size());
        for (const GLFileFilter& filter : FileFilters)
        {
            captions.push_back(filter.Caption());
        }
        FilterChoice->SetItems(std::move(captions), ActiveFileFilter);
        FilterChoice->bShown = count > 0;
        if (count == 0 && FocusedWidget == FilterChoice)
        {
            SetFocus(FileTable);
        }
    }
    Layout();
    ReapplyFilters();
}

void GLFileDialogPanel::SetActiveFileFilter(int Index)
{
    if (Index < 0 || Index >= static_cast<int>(FileFilters.size()) || Index == ActiveFileFilter)
    {
        return;
    }
    ActiveFileFilter = Index;
    if (FilterChoice != nullptr && FilterChoice->SelectedIndex != Index)
    {
        FilterChoice->SelectedIndex = Index;
    }
    ReapplyFilters();
}

void GLFileDialogPanel::SetShowHiddenEntries(bool bShow)
{
    if (HiddenButton != nullptr)
    {
        HiddenButton->Label = bShow ? HiddenShownLabel : HiddenLeftOutLabel;
    }
    if (bShow == bShowHiddenEntries)
    {
        return;
    }
    bShowHiddenEntries = bShow;
    ReapplyFilters();
}

void GLFileDialogPanel::ToggleHiddenEntries()
{
    SetShowHiddenEntries(!bShowHiddenEntries);
}

void GLFileDialogPanel::SetHiddenEntriesToggle(bool bOffered)
{
    bHiddenToggleOffered = bOffered;
    if (!bOffered && FocusedWidget == HiddenButton)
    {
        SetFocus(FileTable);
    }
    Layout();
}

bool GLFileDialogPanel::AnyEntryFilter() const
{
    return !bShowHiddenEntries || ActiveFileFilter >= 0;
}

bool GLFileDialogPanel::PassesExtensions(const FileEntry& Entry) const
{
    if (!bShowHiddenEntries && !Entry.Name.empty() && Entry.Name.front() == '.')
    {
        return false;
    }
    if (Entry.bDirectory || ActiveFileFilter < 0)
    {
        return true;
    }
    return FileFilters[static_cast<std::size_t>(ActiveFileFilter)].Matches(Entry.Name);
}

void GLFileDialogPanel::BeginListingForExtensions()
{
    // A new listing replaces Entries whole: what was kept of the last one no longer applies,
    // and neither does a question about a name in it. The whole last listing goes back into
    // Entries first, so that the engine refills records whose storage fits the folder again.
    if (bListingFiltered)
    {
        Entries.swap(UnfilteredEntries);
    }
    bListingFiltered = false;
    if (IsAskingToReplace())
    {
        EndReplaceQuestion(false);
    }
}

void GLFileDialogPanel::FilterListing(GLTableModel::RowList* Rows)
{
    if (!AnyEntryFilter())
    {
        return;
    }
    // The whole listing is kept for later filter changes; Entries and the rows keep what passes,
    // in the same (sorted) order, so that row i is still element i. Entries' old records are
    // overwritten rather than freed, as the engine does.
    UnfilteredEntries.swap(Entries);
    std::size_t kept = 0;
    for (std::size_t i = 0; i < UnfilteredEntries.size(); ++i)
    {
        if (!PassesExtensions(UnfilteredEntries[i]))
        {
            continue;
        }
        if (kept < Entries.size())
        {
            Entries[kept] = UnfilteredEntries[i];
        }
        else
        {
            Entries.push_back(UnfilteredEntries[i]);
        }
        if (Rows != nullptr && kept != i)
        {
            (*Rows)[kept] = std::move((*Rows)[i]);
        }
        ++kept;
    }
    Entries.resize(kept);
    if (Rows != nullptr)
    {
        Rows->resize(kept);
    }
    bListingFiltered = true;
}

void GLFileDialogPanel::ReapplyFilters()
{
    if (!bListingFiltered)
    {
        if (!AnyEntryFilter())
        {
            return; // Entries is the whole listing already
        }
        UnfilteredEntries = Entries;
    }
    Entries.clear();
    if (!AnyEntryFilter())
    {
        Entries.swap(UnfilteredEntries);
        bListingFiltered = false;
    }
    else
    {
        std::copy_if(UnfilteredEntries.begin(), UnfilteredEntries.end(), std::back_inserter(Entries),
                     [this](const FileEntry& Entry) { return PassesExtensions(Entry); });
        bListingFiltered = true;
    }
    RebuildTableModel();
    if (FileTable != nullptr)
    {
        // Row numbers changed meaning; the selected entry stays selected when it is still listed.
        FileTable->ResetView();
        if (FileTable->SelectedRow < 0)
        {
            SelectedPath.clear();
        }
    }
}

// ---------------------------------------------------------------------------------------------
// Layout

float GLFileDialogPanel::OptionWidths(float& FilterWidth, float& HiddenWidth) const
{
    const float gap = std::max(Metrics.Spacing, Metrics.CharWidth);
    FilterWidth = 0.0F;
    HiddenWidth = 0.0F;
    if (FilterChoice != nullptr && !FileFilters.empty())
    {
        float widest = 0.0F;
        for (const std::string& item : FilterChoice->Items)
        {
            widest = std::max(widest, CaptionWidth(FilterChoice->Prefix + " " + item, Metrics.CharWidth));
        }
        FilterWidth = std::min(widest, Metrics.CharWidth * 40.0F);
    }
    if (HiddenButton != nullptr && bHiddenToggleOffered)
    {
        HiddenWidth = CaptionWidth(HiddenLeftOutLabel, Metrics.CharWidth);
    }
    return FilterWidth + HiddenWidth + (FilterWidth > 0.0F && HiddenWidth > 0.0F ? gap : 0.0F);
}

float GLFileDialogPanel::ExtensionRowsHeight(float Width, float ButtonWidth, float Gap) const
{
    const float line = std::max(0.0F, Metrics.LineHeight);
    const float gap = std::max(0.0F, Metrics.Spacing);
    float height = bSaveMode && NameInput != nullptr ? line + gap : 0.0F;
    float filterWidth = 0.0F;
    float hiddenWidth = 0.0F;
    const float options = OptionWidths(filterWidth, hiddenWidth);
    // The filter and the toggle share the buttons' line when it has room, else get their own.
    if (options > 0.0F && options + Gap > Width - 2.0F * ButtonWidth - Gap)
    {
        height += line + gap;
    }
    return height;
}

float GLFileDialogPanel::PlaceNameRow(float Left, float Top, float Width)
{
    const bool bShow = bSaveMode && NameInput != nullptr;
    if (NameInput != nullptr)
    {
        NameInput->bShown = bShow;
    }
    if (NameLabel != nullptr)
    {
        NameLabel->bShown = bShow && NameInput != nullptr;
    }
    if (!bShow)
    {
        return Top;
    }
    const float line = std::max(0.0F, Metrics.LineHeight);
    const float gap = std::max(Metrics.Spacing, Metrics.CharWidth);
    const float labelWidth = NameLabel != nullptr ? std::min(Metrics.CharWidth * 6.0F, Width / 3.0F) : 0.0F;
    if (NameLabel != nullptr)
    {
        NameLabel->Bounds = GLRect{Left, Top, std::max(0.0F, labelWidth), line};
    }
    const float inputLeft = Left + (NameLabel != nullptr ? labelWidth + gap : 0.0F);
    NameInput->Bounds = GLRect{inputLeft, Top, std::max(0.0F, Left + Width - inputLeft), line};
    return Top + line + std::max(0.0F, Metrics.Spacing);
}

float GLFileDialogPanel::PlaceOptionRow(float Left, float Top, float Width, float ButtonWidth, float Gap)
{
    float filterWidth = 0.0F;
    float hiddenWidth = 0.0F;
    const float options = OptionWidths(filterWidth, hiddenWidth);
    if (FilterChoice != nullptr)
    {
        FilterChoice->bShown = filterWidth > 0.0F;
    }
    if (HiddenButton != nullptr)
    {
        HiddenButton->bShown = hiddenWidth > 0.0F;
    }
    const float line = std::max(0.0F, Metrics.LineHeight);
    const float room = Width - 2.0F * ButtonWidth - Gap;
    const bool bOwnRow = options > 0.0F && options + Gap > room;
    const float buttonsTop = bOwnRow ? Top + line + std::max(0.0F, Metrics.Spacing) : Top;

    // The question's buttons stand where Cancel and the accept button stand, while they are hidden.
    if (BackButton != nullptr)
    {
        BackButton->Bounds = GLRect{Left + Width - 2.0F * ButtonWidth - Gap, buttonsTop, ButtonWidth, line};
    }
    if (ReplaceButton != nullptr)
    {
        ReplaceButton->Bounds = GLRect{Left + Width - ButtonWidth, buttonsTop, ButtonWidth, line};
    }
    if (options <= 0.0F)
    {
        return Top;
    }
    const float available = bOwnRow ? Width : std::max(0.0F, room - Gap);
    // On a row too narrow for both, the filter gives way first: it has the longer caption.
    const float hidden = std::min(hiddenWidth, available);
    const float between = filterWidth > 0.0F && hidden > 0.0F ? Gap : 0.0F;
    const float filter = std::max(0.0F, std::min(filterWidth, available - hidden - between));
    if (FilterChoice != nullptr && filterWidth > 0.0F)
    {
        FilterChoice->Bounds = GLRect{Left, Top, filter, line};
        FilterChoice->bShown = filter > 0.0F;
    }
    if (HiddenButton != nullptr && hiddenWidth > 0.0F)
    {
        HiddenButton->Bounds = GLRect{Left + (filter > 0.0F ? filter + between : 0.0F), Top, hidden, line};
        HiddenButton->bShown = hidden > 0.0F;
    }
    return buttonsTop;
}
