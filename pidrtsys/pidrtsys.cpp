// The stand-in for the library with which a Tavrin installation lists its running real-time systems, for machines
// without an installation's own library. Every process with the command name rtexec is the executive of one system; the
// rest of a record comes from that process's entries in /proc. When the release of a system cannot be found out
// (another user's process hides its environment, and its command line may name no installation), the record gets the
// release of the caller's own TAVRIN, so the caller sees a conflict, which is safe. Nothing is kept between two calls.
// The window calls this every second on hosts with thousands of processes, so for most processes only the command name
// is read.
#include "pidrtsys.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::string_view EXECUTIVE_NAME = "rtexec";
constexpr std::string_view RELEASE_VARIABLE = "TAVRIN=";
constexpr std::string_view RELEASES_DIR = "/opt/tavrin/";

class Descriptor
{
public:
    explicit Descriptor(int opened) : number(opened)
    {
    }

    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    ~Descriptor()
    {
        if (isOpen()) {
            close(number);
        }
    }

    bool isOpen() const
    {
        return number >= 0;
    }

    int get() const
    {
        return number;
    }

private:
    int number;
};

struct DirectoryCloser
{
    void operator()(DIR* directory) const
    {
        closedir(directory);
    }
};

/** Reads up to `size` bytes of a file in the directory; a negative result means that it cannot be read. */
ssize_t readStart(int directory, const char* name, char* buffer, std::size_t size)
{
    const Descriptor file(openat(directory, name, O_RDONLY | O_CLOEXEC));
    if (!file.isOpen()) {
        return -1;
    }
    std::size_t length = 0;
    while (length < size) {
        const ssize_t got = read(file.get(), buffer + length, size - length);
        if (got < 0) {
            return -1;
        }
        if (got == 0) {
            break;
        }
        length += static_cast<std::size_t>(got);
    }
    return static_cast<ssize_t>(length);
}

/** The whole file, or nothing when it cannot be read. */
std::optional<std::string> readWhole(int directory, const char* name)
{
    const Descriptor file(openat(directory, name, O_RDONLY | O_CLOEXEC));
    if (!file.isOpen()) {
        return std::nullopt;
    }
    std::string content;
    for (;;) {
        char chunk[4096];
        const ssize_t got = read(file.get(), chunk, sizeof chunk);
        if (got < 0) {
            return std::nullopt;
        }
        if (got == 0) {
            return content;
        }
        content.append(chunk, static_cast<std::size_t>(got));
    }
}

bool isExecutive(int procDirectory, const char* pid)
{
    char path[64];
    const std::size_t length = std::strlen(pid);
    constexpr std::string_view file = "/comm";
    if (length + file.size() >= sizeof path) {
        return false;
    }
    std::memcpy(path, pid, length);
    std::memcpy(path + length, file.data(), file.size());
    path[length + file.size()] = '\0';

    const Descriptor comm(openat(procDirectory, path, O_RDONLY | O_CLOEXEC));
    char name[EXECUTIVE_NAME.size() + 1]; // the kernel ends the name in a line feed, and gives all of it at once
    return comm.isOpen() && read(comm.get(), name, sizeof name) == static_cast<ssize_t>(sizeof name) &&
           name[EXECUTIVE_NAME.size()] == '\n' && std::string_view(name, EXECUTIVE_NAME.size()) == EXECUTIVE_NAME;
}

std::vector<pid_t> executives(DIR* proc)
{
    std::vector<pid_t> pids;
    while (const dirent* entry = readdir(proc)) {
        const char* end = entry->d_name + std::strlen(entry->d_name);
        pid_t pid = 0;
        const auto [rest, error] = std::from_chars(entry->d_name, end, pid);
        if (error == std::errc() && rest == end && isExecutive(dirfd(proc), entry->d_name)) {
            pids.push_back(pid);
        }
    }
    std::sort(pids.begin(), pids.end());
    return pids;
}

/** Whether the process still exists, is still an executive, and has not ended. */
bool isStillRunning(int process)
{
    char status[256]; // "PID (command name) STATE ...": long enough for the state
    const ssize_t size = readStart(process, "stat", status, sizeof status);
    if (size <= 0) {
        return false;
    }
    const std::string_view text(status, static_cast<std::size_t>(size));
    const std::size_t open = text.find('(');
    const std::size_t close = text.rfind(')');
    if (open == std::string_view::npos || close == std::string_view::npos || close + 2 >= text.size()) {
        return false;
    }
    const char state = text[close + 2];
    return text.substr(open + 1, close - open - 1) == EXECUTIVE_NAME && state != 'Z' && state != 'X' && state != 'x';
}

std::string ownerOf(int process)
{
    struct stat information = {};
    if (fstat(process, &information) != 0) {
        return {};
    }
    std::vector<char> buffer(1024);
    for (;;) {
        passwd entry = {};
        passwd* found = nullptr;
        const int error = getpwuid_r(information.st_uid, &entry, buffer.data(), buffer.size(), &found);
        if (error == ERANGE) {
            buffer.resize(buffer.size() * 2);
        } else if (found != nullptr) {
            return found->pw_name;
        } else {
            return std::to_string(information.st_uid);
        }
    }
}

std::string workingDirectoryOf(int process)
{
    char path[sizeof Pidrtsys::workingDirectory];
    const ssize_t length = readlinkat(process, "cwd", path, sizeof path);
    return length > 0 ? std::string(path, static_cast<std::size_t>(length)) : std::string();
}

std::string_view lastComponent(std::string_view path)
{
    const std::size_t end = path.find_last_not_of('/');
    if (end == std::string_view::npos) {
        return {};
    }
    path = path.substr(0, end + 1);
    return path.substr(path.rfind('/') + 1); // without a slash this starts at 0
}

std::string releaseInEnvironment(std::string_view environment)
{
    while (!environment.empty()) {
        const std::string_view variable = environment.substr(0, environment.find('\0'));
        if (variable.substr(0, RELEASE_VARIABLE.size()) == RELEASE_VARIABLE) {
            return std::string(lastComponent(variable.substr(RELEASE_VARIABLE.size())));
        }
        environment.remove_prefix(std::min(variable.size() + 1, environment.size()));
    }
    return {};
}

/** The component below /opt/tavrin/ of a program's path, when the path goes on below that component. */
std::string releaseInProgramPath(std::string_view path)
{
    if (path.substr(0, RELEASES_DIR.size()) != RELEASES_DIR) {
        return {};
    }
    path.remove_prefix(std::min(path.find_first_not_of('/', RELEASES_DIR.size()), path.size()));
    const std::size_t end = path.find('/');
    if (end == std::string_view::npos || path.find_first_not_of('/', end) == std::string_view::npos) {
        return {};
    }
    const std::string_view release = path.substr(0, end);
    return release == "." || release == ".." ? std::string() : std::string(release);
}

/** What the caller takes for its own release: the text after the last slash of TAVRIN, even where that is empty. */
std::string releaseOfCaller()
{
    const char* tavrin = std::getenv("TAVRIN");
    const std::string_view path = tavrin == nullptr ? "" : tavrin;
    return std::string(path.substr(path.rfind('/') + 1));
}

std::string releaseOf(int process)
{
    // Another user's process hides its environment, and a service may have none; everyone can read the command line.
    if (const std::optional<std::string> environment = readWhole(process, "environ")) {
        if (std::string release = releaseInEnvironment(*environment); !release.empty()) {
            return release;
        }
    }
    char commandLine[4096];
    const ssize_t size = readStart(process, "cmdline", commandLine, sizeof commandLine);
    if (size > 0) {
        const std::string_view arguments(commandLine, static_cast<std::size_t>(size));
        if (std::string release = releaseInProgramPath(arguments.substr(0, arguments.find('\0'))); !release.empty()) {
            return release;
        }
    }
    return releaseOfCaller();
}

/** Copies a text into a zeroed field; what does not fit is cut off, between two characters of UTF-8. */
template <std::size_t size>
void setField(char (&field)[size], const std::string& text)
{
    constexpr std::size_t longestCharacter = 4;
    std::size_t length = std::min(text.size(), size - 1);
    if (length < text.size()) {
        const auto continues = [&text](std::size_t at) {
            return (static_cast<unsigned char>(text[at]) & 0xC0U) == 0x80U;
        };
        std::size_t start = length;
        while (continues(start) && start > 0 && length - start < longestCharacter) {
            --start;
        }
        // A longer row of continuation bytes is not UTF-8, so any place to cut it will do.
        length = continues(start) ? length : start;
    }
    std::memcpy(field, text.data(), length);
}

bool fillRecord(int procDirectory, pid_t pid, Pidrtsys& system)
{
    // As long as it is open, the directory belongs to this process, even when another process gets its number.
    const Descriptor process(openat(procDirectory, std::to_string(pid).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!process.isOpen()) {
        return false;
    }
    const std::string userName = ownerOf(process.get());
    const std::string workingDirectory = workingDirectoryOf(process.get());
    const std::string version = releaseOf(process.get());
    // Checked last, because the process can end or start another program while its entries are read.
    if (!isStillRunning(process.get())) {
        return false;
    }
    setField(system.userName, userName);
    setField(system.workingDirectory, workingDirectory);
    setField(system.version, version);
    system.rtexecPid = pid;
    return true;
}

int listSystems(Pidrtsys** systems)
{
    const std::unique_ptr<DIR, DirectoryCloser> proc(opendir("/proc"));
    if (!proc) {
        return 0;
    }
    const std::vector<pid_t> pids = executives(proc.get());
    if (pids.empty()) {
        return 0;
    }
    // From the C allocator, because callers release the block with either `delete` or `delete[]` of the record.
    std::unique_ptr<Pidrtsys, decltype(&std::free)> block(
        static_cast<Pidrtsys*>(std::calloc(pids.size(), sizeof(Pidrtsys))), &std::free);
    if (!block) {
        return 0;
    }
    int count = 0;
    for (const pid_t pid : pids) {
        if (fillRecord(dirfd(proc.get()), pid, block.get()[count])) {
            ++count;
        }
    }
    if (count > 0) {
        *systems = block.release();
    }
    return count;
}

} // namespace

// The install script looks for this text to tell the stand-in from another library. Exported, so that no linker drops
// it.
extern "C" {
__attribute__((visibility("default"))) extern const char pidrtsysStandIn[];
const char pidrtsysStandIn[] = STAND_IN_MARK;
}

extern "C" __attribute__((visibility("default"))) int pidrtsys(Pidrtsys** systems)
{
    *systems = nullptr;
    try {
        return listSystems(systems);
    } catch (...) { // only bad_alloc is possible, and callers written in C could not catch it
        return 0;
    }
}
