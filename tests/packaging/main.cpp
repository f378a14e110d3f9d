// Shared by every packaging consumer: opens the panel on a fresh temporary folder, checks the
// listing and what accepting a row delivers, and exits non-zero on any mismatch.

#include "glfiledialogpanel.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

static_assert(__cplusplus >= 201703L, "the package must carry its C++17 requirement");

int main()
{
    namespace fs = std::filesystem;
    std::string pattern = (fs::temp_directory_path() / "glfd-consumer-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr)
    {
        std::perror("mkdtemp");
        return 1;
    }
    const std::string root = fs::canonical(pattern).string();
    fs::create_directory(root + "/Alpha");
    std::ofstream(root + "/b.txt") << "x";

    GLFileDialogPanel panel;
    GLChildWindow host;
    host.SetContent(&panel);
    std::string chosen;
    panel.FileSelected.connect([&chosen](const std::string& Path) { chosen = Path; });
    panel.OpenAtPath(root);
    std::string listed;
    for (const GLTableModel::Row& row : panel.TableModel->GetRows())
    {
        listed += row.at(0) + "|" + row.at(1) + ";";
    }
    panel.FileTable->ClickRow(1, GLModifiers{});
    panel.AcceptButton->Click();
    fs::remove_all(root);

    const bool bOk = listed == "Alpha|Dir;b.txt|File;" && chosen == root + "/b.txt" && !host.bVisible;
    std::cout << "listed " << listed << " chose " << chosen << (bOk ? "" : " (unexpected)") << '\n';
    return bOk ? 0 : 1;
}
