#include "test_support.h"

#include <memory>
#include <string>
#include <vector>

namespace
{

constexpr GLModifiers Shift{true, false, false};

std::shared_ptr<GLTableModel> NamedRows(const std::vector<std::string>& Names)
{
    auto model = std::make_shared<GLTableModel>();
    for (const std::string& name : Names)
    {
        model->AddRow({name});
    }
    return model;
}

// "selected/focused", plus " anchor..end" while a range is in force.
std::string State(const GLTableView& View)
{
    const std::string range =
        " " + std::to_string(View.RangeAnchorRow) + ".." + std::to_string(View.RangeEndRow);
    return std::to_string(View.SelectedRow) + "/" + std::to_string(View.FocusedRow) +
           (View.bRangeSelection ? range : "");
}

} // namespace

TEST(TableView, ClicksAndKeysMaintainSelectionRangeAndScroll)
{
    GLTableView view;
    view.Model = NamedRows({"a", "b", "c", "d", "e", "f", "g", "h"});
    view.PageRows = 3;
    int changes = 0;
    view.SelectionChanged.connect([&] { ++changes; });

    view.ClickRow(2, {});
    view.ClickRow(5, Shift);
    view.ClickRow(0, Shift); // the anchor stays where the range began
    view.ClickRow(0, Shift); // no change, no event
    EXPECT_EQ(State(view), "0/0 2..0");
    EXPECT_EQ(changes, 3);

    view.HandleKey(GLKey::Down, {}); // a plain move ends the range
    EXPECT_EQ(State(view), "1/1");
    view.HandleKey(GLKey::Down, Shift);
    view.HandleKey(GLKey::Down, Shift);
    EXPECT_EQ(State(view), "3/3 1..3");
    view.HandleKey(GLKey::PageDown, {});
    EXPECT_EQ(State(view), "6/6");
    EXPECT_EQ(view.TopRow, 4);
    view.HandleKey(GLKey::End, Shift);
    EXPECT_EQ(State(view), "7/7 6..7");
    view.HandleKey(GLKey::PageUp, {});
    view.HandleKey(GLKey::PageUp, {});
    view.HandleKey(GLKey::Up, {});
    EXPECT_EQ(State(view), "0/0");
    EXPECT_EQ(view.TopRow, 0);

    // The program moves or clears the selected row (a new listing, a mode change) and leaves
    // the anchor: a Shift move must start from what the user sees, not from the stale anchor.
    view.SelectedRow = view.FocusedRow = 4;
    view.HandleKey(GLKey::Down, Shift);
    EXPECT_EQ(State(view), "5/5 4..5");
    view.SelectedRow = view.FocusedRow = -1;
    view.bRangeSelection = false;
    view.HandleKey(GLKey::Down, Shift);
    EXPECT_EQ(State(view), "0/0 0..0");
}

TEST(TableView, RowsAreClampedToTheModelAndActivationReportsTheRow)
{
    GLTableView view;
    view.Model = NamedRows({"a", "b", "c"});
    std::vector<int> activated;
    view.RowActivated.connect([&](int Row) { activated.push_back(Row); });

    view.DoubleClickRow(1);
    view.DoubleClickRow(7); // outside: nothing
    view.HandleKey(GLKey::Enter, {});
    view.ClickRow(3, {}); // below the last row: clears
    view.HandleKey(GLKey::Enter, {});
    EXPECT_EQ(activated, (std::vector<int>{1, 1, -1}));

    // Left over from a longer listing: an empty table has no selection.
    view.Model = NamedRows({});
    view.SelectedRow = view.FocusedRow = 2;
    view.bRangeSelection = true;
    view.HandleKey(GLKey::Down, Shift);
    EXPECT_EQ(State(view), "-1/-1");
}

TEST(TableView, TypeAheadCyclesOneRepeatedCharacterBeyondAscii)
{
    const std::string e = "\xC3\xA9"; // one two-byte character
    GLTableView view;
    view.Model = NamedRows({e + "t" + e, "zoo", e + "cole"});
    std::vector<int> rows;
    for (const double time : {0.0, 0.2, 0.4})
    {
        view.HandleText(e.c_str(), time);
        rows.push_back(view.SelectedRow);
    }
    EXPECT_EQ(rows, (std::vector<int>{0, 2, 0}));
}

TEST(TextInput, UserEditsRaiseChangedAndProgramWritesOnlyWhenAsked)
{
    GLTextInput input;
    std::vector<std::string> changes;
    input.TextChanged.connect([&](const std::string& Text) { changes.push_back(Text); });
    input.SetText("/srv", false);
    input.HandleText("/\xC3\xA9", 0.0);
    input.HandleKey(GLKey::Backspace, {}); // a whole UTF-8 character
    input.SetText("/srv/", true);          // unchanged: no event
    input.SetText("/home", true);
    EXPECT_EQ(changes, (std::vector<std::string>{"/srv/\xC3\xA9", "/srv/", "/home"}));
}
