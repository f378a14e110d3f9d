// The toolkit's pointer, scrolling, lookup and layout-dump operations, driven headlessly.
#include "glbutton.h"
#include "gllabel.h"
#include "gltableview.h"
#include "gltextinput.h"
#include "glwindow.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace
{

constexpr GLModifiers Shift{true, false, false};

// A window laid out by hand in cells: a label on line 0, an input and a button on line 1, and a
// table (header on line 2) over lines 2..6 holding rows named r0..r9.
class PointerWindow : public GLWindow
{
public:
    PointerWindow()
    {
        Label = AddChild<GLLabel>();
        Input = AddChild<GLTextInput>();
        Button = AddChild<GLButton>();
        Table = AddChild<GLTableView>();
        Label->Bounds = {0, 0, 20, 1};
        Input->Bounds = {0, 1, 10, 1};
        Button->Bounds = {10, 1, 10, 1};
        Table->Bounds = {0, 2, 20, 5};
        Table->PageRows = 4;
        Table->Model = std::make_shared<GLTableModel>();
        for (int row = 0; row < 10; ++row)
        {
            Table->Model->AddRow({"r" + std::to_string(row)});
        }
        Metrics = GLMetrics{1.0F, 1.0F, 0.0F};
        Bounds = {0, 0, 20, 7};
        Button->Clicked.connect([this] { ++Clicks; });
        Table->RowActivated.connect([this](int Row) { Activated.push_back(Row); });
    }

    GLLabel* Label = nullptr;
    GLTextInput* Input = nullptr;
    GLButton* Button = nullptr;
    GLTableView* Table = nullptr;
    int Clicks = 0;
    std::vector<int> Activated;
};

std::string Selection(const GLTableView& Table)
{
    return std::to_string(Table.SelectedRow) + "/" + std::to_string(Table.FocusedRow) +
           (Table.bRangeSelection
                ? " " + std::to_string(Table.RangeAnchorRow) + ".." + std::to_string(Table.RangeEndRow)
                : "");
}

} // namespace

TEST(WindowPointer, PressesReachTheWidgetUnderThePointWithFocusClicksAndRows)
{
    PointerWindow window;
    EXPECT_EQ(window.WidgetAt(0.5F, 0.5F), window.Label);
    EXPECT_EQ(window.WidgetAt(20.5F, 1.5F), nullptr);
    window.Button->bShown = false; // a hidden widget takes nothing
    EXPECT_FALSE(window.PointerPress(15.5F, 1.5F, 1, {}));
    window.Button->bShown = true;

    EXPECT_FALSE(window.PointerPress(0.5F, 0.5F, 1, {})); // a label takes nothing
    EXPECT_TRUE(window.PointerPress(15.5F, 1.5F, 1, {}));
    EXPECT_EQ(window.Clicks, 1);
    EXPECT_EQ(window.FocusedWidget, window.Button);
    EXPECT_TRUE(window.PointerPress(2.5F, 1.5F, 1, {}));
    EXPECT_EQ(window.FocusedWidget, window.Input);

    // The header line neither selects nor takes focus; rows count from the line below it.
    EXPECT_FALSE(window.PointerPress(3.5F, 2.5F, 1, {}));
    EXPECT_EQ(window.FocusedWidget, window.Input);
    window.Table->TopRow = 2;
    EXPECT_TRUE(window.PointerPress(3.5F, 3.5F, 1, {}));
    EXPECT_EQ(window.FocusedWidget, window.Table);
    EXPECT_TRUE(window.PointerPress(3.5F, 5.5F, 1, Shift));
    EXPECT_EQ(Selection(*window.Table), "4/4 2..4");
    EXPECT_TRUE(window.PointerPress(3.5F, 4.5F, 2, Shift)); // a double press opens, range or not
    EXPECT_EQ(Selection(*window.Table), "3/3");
    EXPECT_EQ(window.Activated, std::vector<int>{3});

    // Below the last row: a press of any count clears and opens nothing.
    window.Table->TopRow = 8;
    EXPECT_TRUE(window.PointerPress(3.5F, 6.5F, 2, {}));
    EXPECT_EQ(Selection(*window.Table), "-1/-1");
    EXPECT_EQ(window.Activated, std::vector<int>{3});

    EXPECT_TRUE(window.PointerWheel(3.5F, 4.5F, -3));
    EXPECT_EQ(window.Table->TopRow, 5);
    EXPECT_FALSE(window.PointerWheel(0.5F, 0.5F, 3));
    EXPECT_EQ(window.Table->RowAtY(2.99F, 1.0F), -1);
    EXPECT_EQ(window.Table->RowAtY(-1e30F, 1.0F), -1);
    EXPECT_EQ(window.Table->RowAtY(3.0F, 0.0F), -1);
}

TEST(TableReveal, TheRowToShowFollowsKeyboardMovesFocusChangesAndShrinkingLists)
{
    PointerWindow window;
    GLTableView& table = *window.Table;
    EXPECT_EQ(table.TakeRowToReveal(), -1); // no focus, nothing to show

    table.HandleKey(GLKey::End, {});
    std::vector<int> reveals = {table.TakeRowToReveal(), table.TakeRowToReveal()}; // taken once
    table.ClickRow(7, {}); // a click moves the focus: show it whole
    reveals.push_back(table.TakeRowToReveal());
    table.ScrollBy(-10); // the wheel alone asks for nothing
    reveals.push_back(table.TakeRowToReveal());
    EXPECT_EQ(reveals, (std::vector<int>{9, -1, 7, -1}));

    // Whole-line hosts: the focused row comes into the lines shown, and TopRow stays in range.
    table.TopRow = 0;
    table.bScrollToFocus = true;
    table.RevealInLines(3);
    EXPECT_EQ(table.TopRow, 5);
    table.HandleKey(GLKey::Home, {});
    table.RevealInLines(3);
    EXPECT_EQ(table.TopRow, 0);
    table.TopRow = 9;
    table.Model->SetRows({{"only"}});
    table.RevealInLines(3);
    EXPECT_EQ(table.TopRow, 0);

    // The rows a line host shows are the ones RowAtY finds.
    table.Model->SetRows({{"a"}, {"b"}, {"c"}, {"d"}, {"e"}, {"f"}});
    table.TopRow = 3;
    const std::vector<GLDrawnRow> rows = table.VisibleRows(1.0F);
    ASSERT_EQ(rows.size(), 3U); // four lines below the header, three rows left
    for (const GLDrawnRow& row : rows)
    {
        EXPECT_EQ(table.RowAtY(row.Rect.Y + 0.5F, 1.0F), row.Row);
    }
}

TEST(WidgetLookup, TheLayoutDumpDescribesEveryShownWidget)
{
    PointerWindow window;
    window.Label->Text = "Open \xC3\xA9\n\\";
    window.Input->Text = "/tmp";
    window.Button->Label = "OK";
    window.Table->Model->SetRows({{"a"}, {"b\xFF"}, {"c"}, {"d"}, {"e"}, {"f"}});
    window.Table->TopRow = 1;
    window.Table->ClickRow(2, {});
    window.Table->ClickRow(3, Shift);
    window.SetFocus(window.Table);
    window.Input->bShown = false;
    EXPECT_EQ(window.DescribeLayout(), "window 20 7\n"
                                       "label 0 0 20 1 - Open \\xc3\\xa9\\x0a\\x5c\n"
                                       "button 10 1 10 1 - OK\n"
                                       "table 0 2 20 5 focused 6\n"
                                       "row 1 0 3 20 1 - b\\xff\n"
                                       "row 2 0 4 20 1 s c\n"
                                       "row 3 0 5 20 1 sf d\n"
                                       "row 4 0 6 20 1 - e\n");

    // A backend that drew rows its own way reports them.
    const std::string dump = window.DescribeLayout(
        [](const GLTableView& /*Table*/) {
            return std::vector<GLDrawnRow>{{5, {0, 30, 20, 12}}};
        });
    EXPECT_NE(dump.find("table 0 2 20 5 focused 6\nrow 5 0 30 20 12 - f\n"), std::string::npos);
}
