#include "test_support.h"

#include <climits>

using Strings = std::vector<std::string>;

namespace
{

// Counts copies, so that the cost of an emission can be checked.
struct Counted
{
    static inline int Copies = 0;
    Counted() = default;
    Counted(const Counted& /*Other*/) { ++Copies; }
};

} // namespace

TEST(Signal, SlotsRunInOrderEachWithAFullCopy)
{
    Signal<std::string, Strings> signal;
    Strings seen;
    for (const std::string name : {"A", "B", "C"})
    {
        signal.connect(
            [&seen, name](std::string Text, Strings List)
            {
                seen.push_back(name + ":" + Text + "/" + std::to_string(List.size()));
                Text = "spoiled";
                List.clear();
            });
    }
    // Even from temporaries, no slot may receive what an earlier one left behind.
    signal.emit(std::string("tmp"), Strings{"x", "y"});
    EXPECT_EQ(seen, (Strings{"A:tmp/2", "B:tmp/2", "C:tmp/2"}));

    Signal<Counted> counted;
    const Counted value;
    Counted::Copies = 0;
    counted.emit(value);
    EXPECT_EQ(Counted::Copies, 0);
    for (int i = 0; i < 3; ++i)
    {
        counted.connect([](const Counted&) {});
    }
    counted.emit(value);
    EXPECT_EQ(Counted::Copies, 3);
}

TEST(Signal, EmptyOrThrowingSlotStopsTheEmission)
{
    Signal<int> signal;
    Strings seen;
    signal.connect([&](int Value) { seen.push_back("first" + std::to_string(Value)); });
    signal.slots.emplace_back();
    signal.connect([&](int) { seen.emplace_back("never"); });
    EXPECT_THROW(signal.emit(1), std::bad_function_call);
    EXPECT_THROW(signal.emit(2), std::bad_function_call);
    Signal<> plain;
    plain.connect([] { throw std::runtime_error("slot"); });
    plain.connect([&] { seen.emplace_back("never"); });
    EXPECT_THROW(plain.emit(), std::runtime_error);
    EXPECT_EQ(seen, (Strings{"first1", "first2"}));
}

TEST(Signal, LaterSlotsSeeAStatusRewrittenByAnEarlierOne)
{
    GLFileDialogPanel panel;
    Strings seen;
    panel.StatusChanged.connect(
        [&](const std::string& Text)
        {
            seen.push_back("1:" + Text);
            TestAccess::SetStatusTextInternal(panel, "rewritten", false);
        });
    panel.StatusChanged.connect([&](const std::string& Text) { seen.push_back("2:" + Text); });
    TestAccess::SetStatusTextInternal(panel, "original", true);
    EXPECT_EQ(seen, (Strings{"1:original", "2:rewritten"}));
    EXPECT_EQ(panel.StatusLabel->Text, "rewritten");
}

TEST(TableModel, LookupsAreBoundsCheckedAndRowsKeepTheirShape)
{
    GLTableModel model;
    model.SetHeaders({"Name", "Type"});
    const GLTableModel::RowList rows = {{"a"}, {"b", "c", "d"}, {}};
    model.SetRows(rows);
    EXPECT_EQ(model.GetRows(), rows);
    EXPECT_EQ(*model.HeaderAt(1), "Type");
    EXPECT_EQ(*model.CellAt(1, 2), "d");
    EXPECT_TRUE(!model.RowAt(-1) && !model.RowAt(3) && !model.RowAt(INT_MIN) && !model.HeaderAt(-1) &&
                !model.HeaderAt(2) && !model.CellAt(0, 1) && !model.CellAt(1, -1) && !model.CellAt(2, 0) &&
                !model.CellAt(3, 0) && !model.CellAt(INT_MAX, 0));

    model.ResizeRows(4);
    model.SetCell(3, 2, "w");
    model.SetCell(4, 0, "beyond");
    model.EnsureRowWidth(0, 2);
    EXPECT_EQ(model.GetRows(), (GLTableModel::RowList{{"a", ""}, {"b", "c", "d"}, {}, {"", "", "w"}}));
    model.ResizeRows(1);
    EXPECT_EQ(model.GetRows(), (GLTableModel::RowList{{"a", ""}}));
    model.SetRows({});
    EXPECT_EQ(model.RowCount(), 0);
    EXPECT_EQ(model.HeaderCount(), 2);
}
