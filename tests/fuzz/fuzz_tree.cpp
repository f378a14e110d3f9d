#include "fuzz_tree.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace
{

void MakeFile(const fs::path& Path, const std::string& Contents = {})
{
    fs::create_directories(Path.parent_path());
    std::ofstream(Path, std::ios::binary) << Contents;
}

void MakeLink(const std::string& Target, const fs::path& Path)
{
    if (::symlink(Target.c_str(), Path.c_str()) != 0)
    {
        std::perror(Path.c_str());
        std::abort();
    }
}

class Tree
{
public:
    Tree()
    {
        std::string pattern = (fs::temp_directory_path() / "glfd-fuzz-XXXXXX").native();
        if (::mkdtemp(pattern.data()) == nullptr)
        {
            std::perror("mkdtemp");
            std::abort();
        }
        Root = fs::canonical(pattern).native();
        const fs::path root = Root;

        MakeFile(root / "alpha" / "inner.txt", "x\n");
        MakeFile(root / "alpha" / "deep" / "leaf.txt", std::string(5000, 'y'));
        for (const char* name : {"a.txt", "B.txt", " blank ", "tab\tname", "new\nline", "bad\xffname", "~",
                                 ".hidden", "-dash", "wide-\xe6\x97\xa5\xe6\x9c\xac.txt", "file\xcd\x8f"})
        {
            MakeFile(root / name);
        }
        // Past the reader's small-folder limit, with shared prefixes and case-only differences.
        for (int i = 1; i <= 40; ++i)
        {
            const std::string number = std::to_string(i);
            const std::string name = i % 4 == 0   ? "Shared-prefix-long-name-" + number
                                     : i % 4 == 1 ? "shared-prefix-long-name-" + number + ".txt"
                                     : i % 4 == 2 ? "f" + number
                                                  : "F" + number + ".DAT";
            MakeFile(root / "beta" / name, std::string(static_cast<std::size_t>(i) * 100, 'z'));
        }
        fs::create_directories(root / "beta" / "sub");

        MakeLink("alpha", root / "link-alpha");
        MakeLink("alpha/inner.txt", root / "link-file");
        MakeLink(Root + "/alpha/deep", root / "abs-deep");
        MakeLink("nosuch", root / "dangling");
        MakeLink("loop-b", root / "loop-a");
        MakeLink("loop-a", root / "loop-b");
        MakeLink("self", root / "self");
        MakeLink(".", root / "dot");
        MakeLink("..", root / "alpha" / "up");
        if (::mkfifo((root / "fifo").c_str(), 0600) != 0)
        {
            std::perror("mkfifo");
        }
        MakeFile(root / "locked" / "secret.txt");
        ::chmod((root / "locked").c_str(), 0);
    }

    ~Tree()
    {
        ::chmod((fs::path(Root) / "locked").c_str(), 0700);
        std::error_code ec;
        fs::remove_all(Root, ec);
    }

    Tree(const Tree&) = delete;
    Tree& operator=(const Tree&) = delete;
    Tree(Tree&&) = delete;
    Tree& operator=(Tree&&) = delete;

    std::string Root;
};

} // namespace

const std::string& glfd_fuzz::TreeRoot()
{
    static const Tree tree;
    return tree.Root;
}
