// Fuzz target: the chooser's argument parser. The input is split on NUL bytes into arguments.
// Parsing must never crash; it must succeed exactly when the arguments are valid by the usage
// rules (checked here independently); and a successful parse, written back as arguments, must
// parse to the same options.

#include "chooser_options.h"
#include "fuzz_check.h"

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

using glfd_fuzz::Check;

namespace
{

// Whether the usage accepts Args: known options only, at most one PATH (anything after "--",
// "-" and every argument not starting with '-'), no two different modes, no two backends.
bool Valid(const std::vector<std::string>& Args)
{
    std::set<std::string> modes;
    std::set<std::string> backends;
    int paths = 0;
    bool bOptionsEnded = false;
    bool bSave = false;
    for (std::size_t index = 0; index < Args.size(); ++index)
    {
        const std::string& arg = Args[index];
        if (bOptionsEnded || arg.size() < 2 || arg[0] != '-')
        {
            ++paths;
        }
        else if (arg == "--")
        {
            bOptionsEnded = true;
        }
        else if (arg == "--filter")
        {
            // The value is the next argument, whatever it looks like.
            if (++index == Args.size())
            {
                return false;
            }
        }
        else if (arg.rfind("--filter=", 0) == 0 || arg == "--show-hidden")
        {
        }
        else if (arg == "--save")
        {
            bSave = true;
        }
        else if (arg == "--open" || arg == "--multiple" || arg == "--folder")
        {
            modes.insert(arg);
        }
        else if (arg == "--window" || arg == "--terminal")
        {
            backends.insert(arg);
        }
        else if (arg != "--print0" && arg != "--help" && arg != "-h" && arg != "--version")
        {
            return false;
        }
        if (paths > 1 || modes.size() > 1 || backends.size() > 1)
        {
            return false;
        }
    }
    // Saving chooses one file.
    return !bSave || modes.empty() || modes.count("--open") != 0;
}

// The options as a command line that asks for exactly them.
std::vector<std::string> Render(const ChooserOptions& Options)
{
    using Mode = GLFileDialogPanel::SelectionMode;
    std::vector<std::string> args;
    args.emplace_back(Options.Mode == Mode::OpenFile            ? "--open"
                      : Options.Mode == Mode::OpenMultipleFiles ? "--multiple"
                                                                : "--folder");
    if (Options.bPrint0)
    {
        args.emplace_back("--print0");
    }
    if (Options.bSave)
    {
        args.emplace_back("--save");
    }
    if (Options.bShowHidden)
    {
        args.emplace_back("--show-hidden");
    }
    // Filter texts have their own unit tests; here only their number must survive.
    for (std::size_t index = 0; index < Options.Filters.size(); ++index)
    {
        args.emplace_back("--filter=F:*");
    }
    if (Options.Backend != ChooserBackend::Auto)
    {
        args.emplace_back(Options.Backend == ChooserBackend::Window ? "--window" : "--terminal");
    }
    if (Options.bHelp)
    {
        args.emplace_back("--help");
    }
    if (Options.bVersion)
    {
        args.emplace_back("--version");
    }
    if (!Options.Path.empty())
    {
        args.emplace_back("--");
        args.push_back(Options.Path);
    }
    return args;
}

bool Same(const ChooserOptions& A, const ChooserOptions& B)
{
    return A.Mode == B.Mode && A.bPrint0 == B.bPrint0 && A.bHelp == B.bHelp && A.bVersion == B.bVersion &&
           A.Backend == B.Backend && A.Path == B.Path && A.bSave == B.bSave &&
           A.bShowHidden == B.bShowHidden && A.Filters.size() == B.Filters.size();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* Data, std::size_t Size)
{
    std::vector<std::string> args;
    const std::string input(reinterpret_cast<const char*>(Data), Size);
    for (std::size_t begin = 0; begin < input.size();)
    {
        std::size_t end = input.find('\0', begin);
        if (end == std::string::npos)
        {
            end = input.size();
        }
        args.push_back(input.substr(begin, end - begin));
        begin = end + 1;
    }

    const ChooserParseResult parsed = ParseChooserArguments(args);
    Check(parsed.Error.empty() == Valid(args), "the parser accepts exactly the valid command lines",
          parsed.Error);
    if (!parsed.Error.empty())
    {
        return 0;
    }
    const std::vector<std::string> rendered = Render(parsed.Options);
    const ChooserParseResult again = ParseChooserArguments(rendered);
    Check(again.Error.empty() && Same(again.Options, parsed.Options), "a parse written back parses the same",
          again.Error);
    return 0;
}
