// The installation's library as the tests need it: the same C function, but the records come from the file that
// FAKE_PIDRTSYS names, read again at each call. One line is one record: version, user name, working directory and pid,
// separated by tabs. A field "@fill:c" is filled with the character c to its last byte, without a NUL. A first line
// "#null N" stores a null array and returns N; "#count N" returns N, at most their number, with the array of the lines
// after it; "#tasks N" lets the process have no more tasks than N, together with all others of its user. Without the
// variable, the file or a line in it there are no systems. Each call appends a line "call" to FAKE_PIDRTSYS_LOG. Where
// FAKE_PIDRTSYS_WATCHES_EXIT is set, a process complains when it takes its libraries down under running threads. A test
// that changes the file while the program runs replaces it by renaming; a line that cannot be read is fatal.
#include "pidrtsys.h"

#include <charconv>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <sys/resource.h>

namespace {

[[noreturn]] void fail(const std::string& complaint)
{
    std::fprintf(stderr, "fake_pidrtsys: %s\n", complaint.c_str());
    std::abort();
}

int toNumber(const std::string& text)
{
    int number = 0;
    const char* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || rest != end) {
        fail("not a number: '" + text + "'");
    }
    return number;
}

std::vector<std::string> readLines(const char* fileName)
{
    std::vector<std::string> lines;
    std::ifstream file(fileName);
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::vector<std::string> splitAtTabs(const std::string& line)
{
    std::vector<std::string> fields;
    std::size_t start = 0;
    for (std::size_t tab = line.find('\t'); tab != std::string::npos; tab = line.find('\t', start)) {
        fields.push_back(line.substr(start, tab - start));
        start = tab + 1;
    }
    fields.push_back(line.substr(start));
    return fields;
}

template <std::size_t size>
void setField(char (&field)[size], const std::string& text)
{
    const std::string fill = "@fill:";
    if (text.size() == fill.size() + 1 && text.compare(0, fill.size(), fill) == 0) {
        std::memset(field, text.back(), size);
    } else if (text.size() < size) {
        std::memcpy(field, text.data(), text.size());
    } else {
        fail("too long for its field: '" + text + "'");
    }
}

void setRecord(Pidrtsys& record, const std::string& line)
{
    const std::vector<std::string> fields = splitAtTabs(line);
    if (fields.size() != 4) {
        fail("not a record: '" + line + "'");
    }
    setField(record.version, fields[0]);
    setField(record.userName, fields[1]);
    setField(record.workingDirectory, fields[2]);
    record.rtexecPid = toNumber(fields[3]);
}

/** Removes a leading directive such as "#null N". Returns whether it was there, and sets the number if it was. */
bool takeDirective(std::vector<std::string>& lines, const std::string& directive, int& number)
{
    if (lines.empty() || lines.front().compare(0, directive.size(), directive) != 0) {
        return false;
    }
    number = toNumber(lines.front().substr(directive.size()));
    lines.erase(lines.begin());
    return true;
}

void limitTasks(int count)
{
    const rlimit limit = {static_cast<rlim_t>(count), static_cast<rlim_t>(count)};
    if (setrlimit(RLIMIT_NPROC, &limit) != 0) {
        fail("cannot limit the tasks");
    }
}

void logCall()
{
    const char* name = std::getenv("FAKE_PIDRTSYS_LOG");
    if (name == nullptr) {
        return;
    }
    std::ofstream log(name, std::ios::app);
    log << "call\n" << std::flush;
    if (!log) {
        fail(std::string("cannot write ") + name);
    }
}

// Runs when exit() destroys the libraries. Threads that still run use them, which crashes now and then.
__attribute__((destructor)) void complainAboutThreads()
{
    namespace fs = std::filesystem;
    const auto threads = std::distance(fs::directory_iterator("/proc/self/task"), fs::directory_iterator());
    if (std::getenv("FAKE_PIDRTSYS_WATCHES_EXIT") != nullptr && threads > 1) {
        std::fprintf(stderr, "fake_pidrtsys: the libraries go while %d other threads run\n",
                     static_cast<int>(threads) - 1);
    }
}

} // namespace

extern "C" __attribute__((visibility("default"))) int pidrtsys(Pidrtsys** systems)
{
    *systems = nullptr;
    logCall();
    const char* fileName = std::getenv("FAKE_PIDRTSYS");
    std::vector<std::string> lines = fileName == nullptr ? std::vector<std::string>() : readLines(fileName);

    int count = 0;
    if (takeDirective(lines, "#tasks ", count)) {
        limitTasks(count);
    }
    if (takeDirective(lines, "#null ", count)) {
        return count;
    }
    if (!takeDirective(lines, "#count ", count)) {
        count = static_cast<int>(lines.size());
    }
    if (lines.empty()) {
        return count;
    }
    if (count > static_cast<int>(lines.size())) {
        fail("a count beyond the records");
    }
    auto* records = static_cast<Pidrtsys*>(std::calloc(lines.size(), sizeof(Pidrtsys)));
    if (records == nullptr) {
        fail("out of memory");
    }
    for (std::size_t index = 0; index < lines.size(); ++index) {
        setRecord(records[index], lines[index]);
    }
    *systems = records;
    return count;
}
