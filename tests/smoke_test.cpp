#include "test_support.h"

using namespace glfd_test;

TEST(Smoke, OpensFolderAndDropsPrivileges)
{
    TempTree tree;
    tree.File("b.txt", "x");
    tree.Dir("Zeta");
    GLFileDialogPanel panel;
    panel.OpenAtPath(tree.Root());
    EXPECT_EQ(EntryNames(panel), (std::vector<std::string>{"Zeta", "b.txt"}));
    EXPECT_EQ(panel.StatusText, "Browsing " + tree.Root());
    tree.Dir("locked");
    tree.Chmod("locked", 0);
    const std::string seen = RunUnprivileged([&] {
        GLFileDialogPanel inner;
        inner.OpenAtPath(tree.Path("locked"));
        return inner.StatusText;
    });
    EXPECT_EQ(seen, "Directory listing incomplete: " + tree.Path("locked") + " (Permission denied)");
}
