#include "test_support.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <fstream>
#include <grp.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace glfd_test
{

TempTree::TempTree()
{
    std::string pattern = (fs::temp_directory_path() / "glfd-test-XXXXXX").native();
    char* made = ::mkdtemp(pattern.data());
    if (made == nullptr)
    {
        throw std::runtime_error("mkdtemp failed");
    }
    ::chmod(made, 0755); // readable by the unprivileged child
    RootPath = fs::canonical(made).native();
}

TempTree::~TempTree()
{
    std::error_code ec;
    // Restore permissions so that every folder can be emptied.
    for (auto it =
             fs::recursive_directory_iterator(RootPath, fs::directory_options::skip_permission_denied, ec);
         !ec && it != fs::recursive_directory_iterator(); it.increment(ec))
    {
        if (it->is_directory(ec) && !it->is_symlink(ec))
        {
            ::chmod(it->path().c_str(), 0755);
        }
    }
    ::chmod(RootPath.c_str(), 0755);
    fs::remove_all(RootPath, ec);
}

std::string TempTree::Path(const std::string& Relative) const
{
    return Relative.empty() ? RootPath : RootPath + "/" + Relative;
}

std::string TempTree::Dir(const std::string& Relative) const
{
    const std::string path = Path(Relative);
    fs::create_directories(path);
    return path;
}

std::string TempTree::File(const std::string& Relative, const std::string& Contents) const
{
    const std::string path = Path(Relative);
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << Contents;
    return path;
}

std::string TempTree::Link(const std::string& Target, const std::string& Relative) const
{
    const std::string path = Path(Relative);
    if (::symlink(Target.c_str(), path.c_str()) != 0)
    {
        throw std::runtime_error("symlink failed: " + path);
    }
    return path;
}

std::string TempTree::Fifo(const std::string& Relative) const
{
    const std::string path = Path(Relative);
    if (::mkfifo(path.c_str(), 0644) != 0)
    {
        throw std::runtime_error("mkfifo failed: " + path);
    }
    return path;
}

std::string TempTree::Socket(const std::string& Relative) const
{
    const std::string path = Path(Relative);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof(address.sun_path))
    {
        throw std::runtime_error("socket path too long: " + path);
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    const int rc = ::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
    ::close(fd);
    if (rc != 0)
    {
        throw std::runtime_error("bind failed: " + path);
    }
    return path;
}

void TempTree::Chmod(const std::string& Relative, unsigned Mode) const
{
    ::chmod(Path(Relative).c_str(), static_cast<mode_t>(Mode));
}

ScopedEnv::ScopedEnv(const char* Name, std::optional<std::string> Value) : VarName(Name)
{
    if (const char* old = std::getenv(Name))
    {
        Saved = std::string(old);
    }
    if (Value)
    {
        ::setenv(Name, Value->c_str(), 1);
    }
    else
    {
        ::unsetenv(Name);
    }
    ::tzset();
}

ScopedEnv::~ScopedEnv()
{
    if (Saved)
    {
        ::setenv(VarName.c_str(), Saved->c_str(), 1);
    }
    else
    {
        ::unsetenv(VarName.c_str());
    }
    ::tzset();
}

ScopedCwd::ScopedCwd(const std::string& Path) : Saved(fs::current_path())
{
    fs::current_path(Path);
}

ScopedCwd::~ScopedCwd()
{
    std::error_code ec;
    fs::current_path(Saved, ec);
}

std::string RunUnprivileged(const std::function<std::string()>& Body)
{
    int pipeFds[2];
    if (::pipe(pipeFds) != 0)
    {
        ADD_FAILURE() << "pipe failed";
        return {};
    }
    const pid_t child = ::fork();
    if (child == 0)
    {
        ::close(pipeFds[0]);
        if (::geteuid() == 0)
        {
            const uid_t id = 65534; // "nobody" on Debian
            if (::setgroups(0, nullptr) != 0 || ::setgid(static_cast<gid_t>(id)) != 0 || ::setuid(id) != 0)
            {
                ::_exit(3);
            }
        }
        std::string out;
        try
        {
            out = Body();
        }
        catch (...)
        {
            ::_exit(4);
        }
        const char* data = out.data();
        std::size_t left = out.size();
        while (left > 0)
        {
            const ssize_t wrote = ::write(pipeFds[1], data, left);
            if (wrote <= 0)
            {
                ::_exit(5);
            }
            data += wrote;
            left -= static_cast<std::size_t>(wrote);
        }
        ::close(pipeFds[1]);
        ::_exit(0);
    }
    ::close(pipeFds[1]);
    std::string result;
    char buffer[4096];
    ssize_t got = 0;
    while ((got = ::read(pipeFds[0], buffer, sizeof(buffer))) > 0)
    {
        result.append(buffer, static_cast<std::size_t>(got));
    }
    ::close(pipeFds[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
    {
        ADD_FAILURE() << "unprivileged child failed (status " << status << ")";
    }
    return result;
}

void SignalLog::Attach(GLFileDialogPanel& Panel)
{
    Panel.FilesSelected.connect(
        [this](const std::vector<std::string>& Paths)
        {
            std::string line = "FilesSelected:";
            for (std::size_t i = 0; i < Paths.size(); ++i)
            {
                line += (i == 0 ? "" : "|") + Paths[i];
            }
            Events.push_back(line);
        });
    Panel.FileSelected.connect([this](const std::string& Path) { Events.push_back("FileSelected:" + Path); });
    Panel.Cancelled.connect([this] { Events.emplace_back("Cancelled"); });
    Panel.StatusChanged.connect([this](const std::string& Text) { Events.push_back("Status:" + Text); });
}

std::vector<std::string> ModelRows(const GLFileDialogPanel& Panel)
{
    std::vector<std::string> rows;
    if (!Panel.TableModel)
    {
        return rows;
    }
    for (const auto& row : Panel.TableModel->GetRows())
    {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i)
        {
            line += (i == 0 ? "" : "|") + row[i];
        }
        rows.push_back(line);
    }
    return rows;
}

std::vector<std::string> EntryNames(const GLFileDialogPanel& Panel)
{
    std::vector<std::string> names;
    for (const auto& entry : Panel.Entries)
    {
        names.push_back(entry.Name);
    }
    return names;
}

} // namespace glfd_test
