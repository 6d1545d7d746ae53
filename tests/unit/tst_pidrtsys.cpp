// Asks the stand-in library for running systems while real processes named rtexec run: copies of `sleep`, started with
// a chosen environment, directory, first argument and user. Other tests may run such processes at the same time, so
// records are found by pid; where their number counts, a copy of this program looks from a process namespace of its
// own, and where another user's view counts, a copy looks as that user. Every process dies with the one that made it.
#include "pidrtsys.h"

#include <QtTest>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include <grp.h>
#include <pwd.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#ifndef __SANITIZE_ADDRESS__     // there the sanitizer's own operators must see how a block was made and released
static int allocationsLeft = -1; // negative: no limit

void* operator new(std::size_t size)
{
    void* block = allocationsLeft == 0 ? nullptr : std::malloc(size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    allocationsLeft -= allocationsLeft > 0 ? 1 : 0;
    return block;
}

void operator delete(void* block) noexcept
{
    std::free(block);
}

void operator delete(void* block, std::size_t) noexcept
{
    std::free(block);
}
#endif

namespace {

constexpr uid_t NOBODY = 65534;
constexpr int PATIENCE = 20000; // milliseconds for a condition that is met at once on an idle machine

/** What to start; the defaults make a system of release 5.9 of the user who runs the test. */
struct Start
{
    QByteArray program;
    QByteArrayList arguments = {"rtexec", "600"};
    QByteArrayList environment = {"LANG=C", "TAVRIN=/opt/tavrin/5.9"};
    QByteArray directory = "/";
    uid_t user = geteuid();
};

std::vector<char*> pointersTo(QByteArrayList& texts)
{
    std::vector<char*> pointers;
    for (QByteArray& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

QByteArray contentOf(const QByteArray& path)
{
    QFile file(QString::fromLatin1(path));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QByteArray procFile(pid_t pid, const char* name)
{
    return contentOf("/proc/" + QByteArray::number(pid) + '/' + name);
}

/** A started process; it is ended and reaped with the object, and killed by the kernel should the test itself die. */
class RealProcess
{
public:
    explicit RealProcess(Start start) : commandLine(start.arguments.join('\0') + '\0')
    {
        const std::vector<char*> arguments = pointersTo(start.arguments);
        const std::vector<char*> environment = pointersTo(start.environment);
        const pid_t parent = getpid();
        child = fork();
        if (child == 0) {
            const bool ready = chdir(start.directory.constData()) == 0 &&
                               (start.user == geteuid() || (setgroups(0, nullptr) == 0 && setuid(start.user) == 0)) &&
                               prctl(PR_SET_PDEATHSIG, SIGKILL) == 0 && getppid() == parent;
            if (ready) {
                execve(start.program.constData(), arguments.data(), environment.data());
            }
            _exit(127);
        }
    }

    RealProcess(const RealProcess&) = delete;
    RealProcess& operator=(const RealProcess&) = delete;

    ~RealProcess()
    {
        if (child > 0) {
            kill(child, SIGKILL);
            waitpid(child, nullptr, 0);
        }
    }

    pid_t pid() const
    {
        return child;
    }

    /** Waits until the program runs: the kernel shows the new command line once all of the new image is in place. */
    bool isUp() const
    {
        const QDeadlineTimer deadline(PATIENCE);
        while (child > 0 && !hasEnded() && !deadline.hasExpired()) {
            if (procFile(child, "cmdline") == commandLine) {
                return true;
            }
            usleep(500);
        }
        return false;
    }

    bool hasEnded() const
    {
        siginfo_t information = {};
        return waitid(P_PID, static_cast<id_t>(child), &information, WEXITED | WNOWAIT | WNOHANG) == 0 &&
               information.si_pid == child;
    }

    /** Kills it without reaping it. */
    bool becomeZombie() const
    {
        siginfo_t information = {};
        return kill(child, SIGKILL) == 0 &&
               waitid(P_PID, static_cast<id_t>(child), &information, WEXITED | WNOWAIT) == 0;
    }

private:
    QByteArray commandLine;
    pid_t child = -1;
};

struct Listed
{
    pid_t pid = 0;
    QByteArray version;
    QByteArray userName;
    QByteArray workingDirectory;
};

template <std::size_t size>
QByteArray textOf(const char (&field)[size])
{
    const std::size_t length = qstrnlen(field, size);
    return length < size ? QByteArray(field, static_cast<int>(length)) : QByteArray("(a field without its NUL)");
}

/** The library's answer as text, one line a record; "inconsistent" when array and number do not go together. */
QByteArray answer()
{
    Pidrtsys* systems = nullptr;
    const int count = pidrtsys(&systems);
    if (count < 0 || (systems == nullptr) != (count == 0)) {
        return "inconsistent";
    }
    QByteArray text;
    for (int index = 0; index < count; ++index) {
        const Pidrtsys& system = systems[index];
        text += QByteArray::number(system.rtexecPid) + '\t' + textOf(system.version) + '\t' + textOf(system.userName) +
                '\t' + textOf(system.workingDirectory) + '\n';
    }
    std::free(systems);
    return text;
}

QVector<Listed> recordsIn(const QByteArray& text)
{
    QVector<Listed> records;
    for (const QByteArray& line : text.split('\n')) {
        const QByteArrayList fields = line.split('\t');
        if (fields.size() == 4) {
            records.append({fields[0].toInt(), fields[1], fields[2], fields[3]});
        }
    }
    return records;
}

/** The record of a process; pid 0 when it is not listed. */
Listed recordOf(const RealProcess& process, const QByteArray& text = answer())
{
    for (const Listed& record : recordsIn(text)) {
        if (record.pid == process.pid()) {
            return record;
        }
    }
    return {};
}

QByteArray nameOf(uid_t user)
{
    const passwd* entry = getpwuid(user);
    return entry == nullptr ? QByteArray::number(user) : QByteArray(entry->pw_name);
}

struct Outcome
{
    int status = -1;
    QByteArray output;
    QByteArray errors;
};

Outcome run(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.start(program, arguments);
    Outcome outcome;
    if (process.waitForFinished(PATIENCE) && process.exitStatus() == QProcess::NormalExit) {
        outcome.status = process.exitCode();
    }
    outcome.output = process.readAllStandardOutput();
    outcome.errors = process.readAllStandardError();
    return outcome;
}

QStringList withNamespace(const QStringList& command)
{
    const QStringList asOrdinaryUser = geteuid() == 0 ? QStringList() : QStringList{"--map-root-user"};
    return asOrdinaryUser + QStringList{"--pid", "--fork", "--kill-child", "--mount-proc"} + command;
}

/** Looks once as another user. */
int lookAs(uid_t user)
{
    // A changed user also makes a process undumpable, and the leak check of the sanitized build cannot look into it.
    if (setgroups(0, nullptr) != 0 || setresuid(user, user, user) != 0 || prctl(PR_SET_DUMPABLE, 1) != 0) {
        return 1;
    }
    printf("%s", answer().constData());
    return 0;
}

/** Looks once while `count` systems of this namespace run; prints how many of them were expected and the answer. */
int lookAtExactly(int count, const QByteArray& program)
{
    Start start;
    start.program = program;
    std::vector<std::unique_ptr<RealProcess>> processes;
    for (int index = 0; index < count; ++index) {
        processes.push_back(std::make_unique<RealProcess>(start));
        if (!processes.back()->isUp()) {
            return 1;
        }
    }
    Pidrtsys* systems = reinterpret_cast<Pidrtsys*>(1); // to see that even "none" is stored
    const int found = pidrtsys(&systems);
    printf("%d %s\n", found, systems == nullptr ? "null" : "array");
    std::free(systems);
    return 0;
}

/** Looks once when the C allocator has nothing left to give. */
int lookWithoutMemory()
{
    const rlimit none = {0, 0};
    if (setrlimit(RLIMIT_DATA, &none) != 0) {
        return 1;
    }
    struct Block
    {
        Block* next;
    };
    Block* blocks = nullptr;
    for (std::size_t size = 65536; size >= sizeof(Block); size /= 2) {
        while (auto* block = static_cast<Block*>(std::malloc(size))) {
            block->next = blocks;
            blocks = block;
        }
    }
    Pidrtsys* systems = reinterpret_cast<Pidrtsys*>(1);
    const int found = pidrtsys(&systems);
    while (blocks != nullptr) {
        std::free(std::exchange(blocks, blocks->next));
    }
    printf("%d %s\n", found, systems == nullptr ? "null" : "array");
    return 0;
}

} // namespace

class TstPidrtsys : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();

    void runningSystemIsListedWithItsPid();
    void versionIsTheLastComponentOfTavrin_data();
    void versionIsTheLastComponentOfTavrin();
    void overLongVersionIsCutBetweenCharacters_data();
    void overLongVersionIsCutBetweenCharacters();
    void userNameIsTheOwners();
    void userNameOfAnotherUserIsGiven();
    void userWithoutNameIsGivenAsNumber();
    void workingDirectoryIsGivenByteForByte();
    void longestWorkingDirectoryIsGivenWhole();
    void unreadAreaIsZero();

    void hiddenEnvironmentLeavesTheProgramPath_data();
    void hiddenEnvironmentLeavesTheProgramPath();

    void otherCommandNamesAreNotListed_data();
    void otherCommandNamesAreNotListed();
    void commandNameCountsNotTheFirstArgument();
    void zombieIsSkipped();
    void recordsAreInPidOrder();
    void vanishingSystemsDoNoHarm();

    void noneRunningGivesNullAndZero();
    void countIsExact();
    void blockIsReleasedByFree();
    void blockIsReleasedByDelete();
    void blockIsReleasedByArrayDelete();
    void callsLeaveNoDescriptorOpen();

protected:
    QByteArray copyOfSleep(const QByteArray& name) const;
    Start systemStart() const;

private:
    std::unique_ptr<QTemporaryDir> directory;
    QByteArray sleepProgram;
};

/** All of the above, and what cannot be seen where the sanitizer's allocator ends a process instead of returning null.
 */
class TstPidrtsysWithPlainAllocator : public TstPidrtsys
{
    Q_OBJECT

private slots:
    void exhaustedMemoryGivesNullAndZero();
    void failedAllocationGivesNullAndZero();
};

void TstPidrtsys::initTestCase()
{
    directory = std::make_unique<QTemporaryDir>();
    QVERIFY2(directory->isValid(), qPrintable(directory->errorString()));
    // Systems of other users are started from here, too.
    QVERIFY(chmod(QFile::encodeName(directory->path()).constData(), 0755) == 0);
    sleepProgram = QFile::encodeName(QStandardPaths::findExecutable("sleep"));
    QVERIFY(!sleepProgram.isEmpty());
    copyOfSleep("rtexec");
    QVERIFY(QFile::exists(directory->filePath("rtexec")));
}

void TstPidrtsys::cleanupTestCase()
{
    QVERIFY2(directory->remove(), qPrintable(directory->errorString()));
}

QByteArray TstPidrtsys::copyOfSleep(const QByteArray& name) const
{
    const QString path = directory->filePath(QString::fromLatin1(name));
    QFile::copy(QFile::decodeName(sleepProgram), path);
    return QFile::encodeName(path);
}

Start TstPidrtsys::systemStart() const
{
    Start start;
    start.program = QFile::encodeName(directory->filePath("rtexec"));
    return start;
}

void TstPidrtsys::runningSystemIsListedWithItsPid()
{
    const RealProcess process(systemStart());
    QVERIFY(process.isUp());
    const Listed record = recordOf(process);
    QCOMPARE(record.pid, process.pid());
    QCOMPARE(record.version, QByteArray("5.9"));
}

void TstPidrtsys::versionIsTheLastComponentOfTavrin_data()
{
    QTest::addColumn<QByteArrayList>("environment");
    QTest::addColumn<QByteArray>("version");
    QTest::newRow("plain") << QByteArrayList{"TAVRIN=/opt/tavrin/5.9"} << QByteArray("5.9");
    QTest::newRow("trailing slash") << QByteArrayList{"TAVRIN=/opt/tavrin/5.9/"} << QByteArray("5.9");
    QTest::newRow("several trailing slashes") << QByteArrayList{"TAVRIN=/opt/tavrin/5.9///"} << QByteArray("5.9");
    QTest::newRow("elsewhere") << QByteArrayList{"TAVRIN=/home/me/5.9p"} << QByteArray("5.9p");
    QTest::newRow("without a slash") << QByteArrayList{"TAVRIN=DEV"} << QByteArray("DEV");
    QTest::newRow("trailing blank") << QByteArrayList{"TAVRIN=/opt/tavrin/5.9 "} << QByteArray("5.9 ");
    QTest::newRow("not ASCII") << QByteArrayList{"TAVRIN=/opt/tavrin/5.9\xc3\xa9"} << QByteArray("5.9\xc3\xa9");
    QTest::newRow("only slashes") << QByteArrayList{"TAVRIN=//"} << QByteArray();
    QTest::newRow("empty") << QByteArrayList{"TAVRIN="} << QByteArray();
    QTest::newRow("unset") << QByteArrayList{"LANG=C"} << QByteArray();
    QTest::newRow("no environment") << QByteArrayList() << QByteArray();
    QTest::newRow("name that goes on") << QByteArrayList{"TAVRIN_HOME=/opt/tavrin/5.9"} << QByteArray();
    QTest::newRow("name that ends alike") << QByteArrayList{"MY_TAVRIN=/opt/tavrin/5.9"} << QByteArray();
    QTest::newRow("among others") << QByteArrayList{"A=" + QByteArray(20000, 'a'), "TAVRIN=/opt/tavrin/5.9", "B=b"}
                                  << QByteArray("5.9");
    QTest::newRow("set twice, as getenv sees it")
        << QByteArrayList{"TAVRIN=/opt/tavrin/5.9", "TAVRIN=/opt/tavrin/5.8"} << QByteArray("5.9");
}

void TstPidrtsys::versionIsTheLastComponentOfTavrin()
{
    QFETCH(QByteArrayList, environment);
    QFETCH(QByteArray, version);
    Start start = systemStart();
    start.environment = environment;
    // An environment that can be read decides alone.
    start.arguments = QByteArrayList{"/opt/tavrin/1.0/bin/rtexec", "600"};
    const RealProcess process(start);
    QVERIFY(process.isUp());
    const Listed record = recordOf(process);
    QCOMPARE(record.pid, process.pid());
    QCOMPARE(record.version, version);
}

void TstPidrtsys::overLongVersionIsCutBetweenCharacters_data()
{
    QTest::addColumn<QByteArray>("component");
    QTest::addColumn<QByteArray>("version");
    const QByteArray euro = "\xe2\x82\xac";
    const QByteArray clef = "\xf0\x9d\x84\x9e";
    QTest::newRow("just fits") << QByteArray(1027, 'x') << QByteArray(1027, 'x');
    QTest::newRow("one too long") << QByteArray(1028, 'x') << QByteArray(1027, 'x');
    QTest::newRow("far too long") << QByteArray(100000, 'x') << QByteArray(1027, 'x');
    QTest::newRow("two bytes, halved") << QByteArray("\xc3\xa9").repeated(600) << QByteArray("\xc3\xa9").repeated(513);
    QTest::newRow("two bytes, at an edge")
        << 'x' + QByteArray("\xc3\xa9").repeated(600) << 'x' + QByteArray("\xc3\xa9").repeated(513);
    QTest::newRow("three bytes, after the first") << euro.repeated(400) << euro.repeated(342);
    QTest::newRow("three bytes, after the second") << "xx" + euro.repeated(400) << "xx" + euro.repeated(341);
    QTest::newRow("four bytes, after the third") << clef.repeated(300) << clef.repeated(256);
    QTest::newRow("no UTF-8") << QByteArray(2000, '\x80') << QByteArray(1027, '\x80');
}

void TstPidrtsys::overLongVersionIsCutBetweenCharacters()
{
    QFETCH(QByteArray, component);
    QFETCH(QByteArray, version);
    Start start = systemStart();
    start.environment = QByteArrayList{"TAVRIN=/opt/tavrin/" + component};
    const RealProcess process(start);
    QVERIFY(process.isUp());
    const Listed record = recordOf(process);
    QCOMPARE(record.version, version);
    QCOMPARE(record.workingDirectory, QByteArray("/"));
    QCOMPARE(record.pid, process.pid());
}

void TstPidrtsys::userNameIsTheOwners()
{
    const RealProcess process(systemStart());
    QVERIFY(process.isUp());
    QCOMPARE(recordOf(process).userName, nameOf(geteuid()));
}

void TstPidrtsys::userNameOfAnotherUserIsGiven()
{
    if (geteuid() != 0) {
        QSKIP("only root can start a system as another user");
    }
    QVERIFY(getpwuid(NOBODY) != nullptr);
    Start start = systemStart();
    start.user = NOBODY;
    const RealProcess process(start);
    QVERIFY(process.isUp());
    QCOMPARE(recordOf(process).userName, nameOf(NOBODY));
}

void TstPidrtsys::userWithoutNameIsGivenAsNumber()
{
    if (geteuid() != 0) {
        QSKIP("only root can start a system as another user");
    }
    uid_t unnamed = 54321;
    while (getpwuid(unnamed) != nullptr) {
        ++unnamed;
    }
    Start start = systemStart();
    start.user = unnamed;
    const RealProcess process(start);
    QVERIFY(process.isUp());
    QCOMPARE(recordOf(process).userName, QByteArray::number(unnamed));
}

void TstPidrtsys::workingDirectoryIsGivenByteForByte()
{
    // Made and removed by the C functions: under the C locale Qt cannot spell this name.
    const QByteArray name = QFile::encodeName(directory->path()) + "/salle d'\xc3\xa9t\xc3\xa9 \xce\xa9";
    QVERIFY(mkdir(name.constData(), 0755) == 0);
    const auto remover = qScopeGuard([&name] { rmdir(name.constData()); });
    Start start = systemStart();
    start.directory = name;
    const RealProcess process(start);
    QVERIFY(process.isUp());
    QCOMPARE(recordOf(process).workingDirectory, name);
}

void TstPidrtsys::longestWorkingDirectoryIsGivenWhole()
{
    QByteArray path = QFile::encodeName(QFileInfo(directory->path()).canonicalFilePath());
    constexpr int longest = 4095; // what the kernel takes and gives, and what the field holds beside its NUL
    while (path.size() < longest) {
        const int left = longest - path.size();
        path += '/' + QByteArray(left > 400 ? 200 : qMin(left - 1, 200), 'd');
        // Nothing may end one short of the edge: a component has at least one character beside its slash.
        if (longest - path.size() == 1) {
            path.chop(1);
        }
        QVERIFY2(mkdir(path.constData(), 0755) == 0, strerror(errno));
    }
    QCOMPARE(path.size(), longest);
    Start start = systemStart();
    start.directory = path;
    const RealProcess process(start);
    QVERIFY(process.isUp());
    const Listed record = recordOf(process);
    QCOMPARE(record.workingDirectory, path);
    QCOMPARE(record.version, QByteArray("5.9"));
}

void TstPidrtsys::unreadAreaIsZero()
{
    const RealProcess process(systemStart());
    QVERIFY(process.isUp());
    Pidrtsys* systems = nullptr;
    const int count = pidrtsys(&systems);
    const auto release = qScopeGuard([&systems] { std::free(systems); });
    QVERIFY(count > 0);
    for (int index = 0; index < count; ++index) {
        QCOMPARE(QByteArray(systems[index].unread, sizeof systems[index].unread), QByteArray(64, '\0'));
    }
}

void TstPidrtsys::hiddenEnvironmentLeavesTheProgramPath_data()
{
    QTest::addColumn<QByteArray>("firstArgument");
    QTest::addColumn<QByteArray>("version");
    QTest::newRow("below a release") << QByteArray("/opt/tavrin/5.9/bin/rtexec") << QByteArray("5.9");
    QTest::newRow("doubled slash") << QByteArray("/opt/tavrin//5.9//rtexec") << QByteArray("5.9");
    QTest::newRow("not below it") << QByteArray("/usr/lib/rtexec") << QByteArray();
    QTest::newRow("name alone") << QByteArray("rtexec") << QByteArray();
    QTest::newRow("beside the releases") << QByteArray("/opt/tavrin/rtexec") << QByteArray();
    QTest::newRow("release itself") << QByteArray("/opt/tavrin/5.9/") << QByteArray();
    QTest::newRow("releases alone") << QByteArray("/opt/tavrin/") << QByteArray();
    QTest::newRow("longer name") << QByteArray("/opt/tavrinx/5.9/bin/rtexec") << QByteArray();
    QTest::newRow("deeper") << QByteArray("/srv/opt/tavrin/5.9/bin/rtexec") << QByteArray();
    QTest::newRow("way out") << QByteArray("/opt/tavrin/../lib/rtexec") << QByteArray();
    QTest::newRow("empty") << QByteArray("") << QByteArray();
}

void TstPidrtsys::hiddenEnvironmentLeavesTheProgramPath()
{
    QFETCH(QByteArray, firstArgument);
    QFETCH(QByteArray, version);
    if (geteuid() != 0) {
        QSKIP("only root can look as another user");
    }
    Start start = systemStart();
    start.arguments = QByteArrayList{firstArgument, "600"};
    start.environment = QByteArrayList{"TAVRIN=/opt/tavrin/7.7"};
    const RealProcess process(start);
    QVERIFY(process.isUp());

    const Outcome outcome = run(QCoreApplication::applicationFilePath(), {"--look-as", QString::number(NOBODY)});
    QCOMPARE(outcome.errors, QByteArray());
    QCOMPARE(outcome.status, 0);
    const Listed record = recordOf(process, outcome.output);
    QCOMPARE(record.pid, process.pid());
    QCOMPARE(record.version, version);
    QCOMPARE(record.userName, nameOf(0));
    QCOMPARE(record.workingDirectory, QByteArray()); // hidden as well
    QCOMPARE(recordOf(process).version, QByteArray("7.7"));
}

void TstPidrtsys::otherCommandNamesAreNotListed_data()
{
    QTest::addColumn<QByteArray>("name");
    for (const char* name : {"rtexecutor", "rtexec2", "rtexe", "Rtexec", "xrtexec", "rtexec "}) {
        QTest::newRow(name) << QByteArray(name);
    }
}

void TstPidrtsys::otherCommandNamesAreNotListed()
{
    QFETCH(QByteArray, name);
    Start start = systemStart();
    start.program = copyOfSleep(name);
    start.arguments = QByteArrayList{"rtexec", "600"};
    const RealProcess other(start);
    const RealProcess system(systemStart());
    QVERIFY(other.isUp());
    QVERIFY(system.isUp());
    QCOMPARE(procFile(other.pid(), "comm"), name + '\n');
    const QByteArray text = answer();
    QCOMPARE(recordOf(system, text).pid, system.pid());
    QCOMPARE(recordOf(other, text).pid, 0);
}

void TstPidrtsys::commandNameCountsNotTheFirstArgument()
{
    Start start = systemStart();
    start.arguments = QByteArrayList{"something else", "600"};
    const RealProcess process(start);
    QVERIFY(process.isUp());
    QCOMPARE(recordOf(process).pid, process.pid());
}

void TstPidrtsys::zombieIsSkipped()
{
    const RealProcess living(systemStart());
    const RealProcess ended(systemStart());
    QVERIFY(living.isUp());
    QVERIFY(ended.isUp());
    QCOMPARE(recordOf(ended).pid, ended.pid());

    QVERIFY(ended.becomeZombie());
    QCOMPARE(procFile(ended.pid(), "comm"), QByteArray("rtexec\n"));
    const QByteArray text = answer();
    QCOMPARE(recordOf(ended, text).pid, 0);
    QCOMPARE(recordOf(living, text).pid, living.pid());
}

void TstPidrtsys::recordsAreInPidOrder()
{
    std::vector<std::unique_ptr<RealProcess>> processes;
    for (int number = 0; number < 4; ++number) {
        Start start = systemStart();
        start.environment = QByteArrayList{"TAVRIN=/opt/tavrin/5." + QByteArray::number(number)};
        processes.push_back(std::make_unique<RealProcess>(start));
        QVERIFY(processes.back()->isUp());
    }
    const QByteArray text = answer();
    for (int number = 0; number < 4; ++number) {
        const Listed record = recordOf(*processes[static_cast<std::size_t>(number)], text);
        QCOMPARE(record.version, "5." + QByteArray::number(number));
    }
    pid_t previous = 0;
    for (const Listed& record : recordsIn(text)) {
        QVERIFY2(record.pid > previous, text.constData());
        previous = record.pid;
    }
}

void TstPidrtsys::vanishingSystemsDoNoHarm()
{
    const RealProcess living(systemStart());
    QVERIFY(living.isUp());
    const QByteArrayList lifetimes = {"0", "0.0005", "0.001", "0.002", "0.003"};
    int seenBriefly = 0;
    for (int round = 0; round < 30; ++round) {
        std::vector<std::unique_ptr<RealProcess>> brief;
        for (const QByteArray& lifetime : lifetimes) {
            Start start = systemStart();
            start.arguments = QByteArrayList{"rtexec", lifetime};
            brief.push_back(std::make_unique<RealProcess>(start));
        }
        const QDeadlineTimer deadline(PATIENCE);
        while (!brief.empty()) {
            const QByteArray text = answer();
            QVERIFY(text != "inconsistent");
            const Listed record = recordOf(living, text);
            QCOMPARE(record.version, QByteArray("5.9"));
            QCOMPARE(record.userName, nameOf(geteuid()));
            for (const auto& process : brief) {
                seenBriefly += recordOf(*process, text).pid == process->pid() ? 1 : 0;
            }
            const auto ended = [](const std::unique_ptr<RealProcess>& process) {
                return process->hasEnded();
            };
            brief.erase(std::remove_if(brief.begin(), brief.end(), ended), brief.end());
            QVERIFY(!deadline.hasExpired());
        }
    }
    QVERIFY2(seenBriefly > 0, "no brief system was met alive, so none can have vanished while the library looked");
}

void TstPidrtsys::noneRunningGivesNullAndZero()
{
    const Outcome probe = run("unshare", withNamespace({"true"}));
    if (probe.status != 0) {
        QSKIP(("no process namespace can be made here: " + probe.errors).constData());
    }
    const Outcome outcome =
        run("unshare",
            withNamespace({QCoreApplication::applicationFilePath(), "--look-at", "0", directory->filePath("rtexec")}));
    QCOMPARE(outcome.errors, QByteArray());
    QCOMPARE(outcome.output, QByteArray("0 null\n"));
    QCOMPARE(outcome.status, 0);
}

void TstPidrtsys::countIsExact()
{
    const Outcome probe = run("unshare", withNamespace({"true"}));
    if (probe.status != 0) {
        QSKIP(("no process namespace can be made here: " + probe.errors).constData());
    }
    const RealProcess outside(systemStart());
    QVERIFY(outside.isUp());
    const Outcome outcome =
        run("unshare",
            withNamespace({QCoreApplication::applicationFilePath(), "--look-at", "3", directory->filePath("rtexec")}));
    QCOMPARE(outcome.errors, QByteArray());
    QCOMPARE(outcome.output, QByteArray("3 array\n"));
    QCOMPARE(outcome.status, 0);
}

void TstPidrtsys::blockIsReleasedByFree()
{
    const RealProcess process(systemStart());
    QVERIFY(process.isUp());
    Pidrtsys* systems = nullptr;
    QVERIFY(pidrtsys(&systems) > 0);
    QVERIFY(systems != nullptr);
    std::free(systems); // a wrong release ends the process
}

void TstPidrtsys::blockIsReleasedByDelete()
{
    const RealProcess first(systemStart());
    const RealProcess second(systemStart());
    QVERIFY(first.isUp());
    QVERIFY(second.isUp());
    Pidrtsys* systems = nullptr;
    QVERIFY(pidrtsys(&systems) > 1);
    QVERIFY(systems != nullptr);
    delete systems; // a wrong release ends the process
}

void TstPidrtsys::blockIsReleasedByArrayDelete()
{
    const RealProcess first(systemStart());
    const RealProcess second(systemStart());
    QVERIFY(first.isUp());
    QVERIFY(second.isUp());
    Pidrtsys* systems = nullptr;
    QVERIFY(pidrtsys(&systems) > 1);
    QVERIFY(systems != nullptr);
    delete[] systems; // a wrong release ends the process
}

void TstPidrtsys::callsLeaveNoDescriptorOpen()
{
    const RealProcess living(systemStart());
    const RealProcess ended(systemStart());
    QVERIFY(living.isUp());
    QVERIFY(ended.isUp());
    QVERIFY(ended.becomeZombie());
    const auto openDescriptors = [] {
        return QDir("/proc/self/fd").entryList(QDir::AllEntries | QDir::System).size();
    };
    QCOMPARE(recordOf(living).pid, living.pid()); // the first call may open what the user database keeps
    const int before = openDescriptors();
    QCOMPARE(recordOf(living).pid, living.pid());
    QCOMPARE(openDescriptors(), before);
}

void TstPidrtsysWithPlainAllocator::exhaustedMemoryGivesNullAndZero()
{
    const RealProcess process(systemStart());
    QVERIFY(process.isUp());
    const Outcome outcome = run(QCoreApplication::applicationFilePath(), {"--look-without-memory"});
    QCOMPARE(outcome.errors, QByteArray());
    QCOMPARE(outcome.output, QByteArray("0 null\n"));
    QCOMPARE(outcome.status, 0);
}

void TstPidrtsysWithPlainAllocator::failedAllocationGivesNullAndZero()
{
#ifndef __SANITIZE_ADDRESS__
    const RealProcess process(systemStart());
    QVERIFY(process.isUp());
    int successful = 0;
    for (;; ++successful) {
        Pidrtsys* systems = nullptr;
        allocationsLeft = successful;
        const int found = pidrtsys(&systems);
        allocationsLeft = -1;
        const auto release = qScopeGuard([&systems] { std::free(systems); });
        if (found > 0) {
            QVERIFY(systems != nullptr);
            break;
        }
        QCOMPARE(found, 0);
        QVERIFY(systems == nullptr);
        QVERIFY(successful < 1000);
    }
    QVERIFY2(successful > 1, "the library was expected to need more than one allocation");
#endif
}

int main(int argc, char* argv[])
{
    const QByteArray task = argc > 1 ? argv[1] : "";
    if (task == "--look-as" && argc == 3) {
        return lookAs(QByteArray(argv[2]).toUInt());
    }
    if (task == "--look-at" && argc == 4) {
        return lookAtExactly(QByteArray(argv[2]).toInt(), argv[3]);
    }
    if (task == "--look-without-memory") {
        return lookWithoutMemory();
    }
    QCoreApplication application(argc, argv);
#ifdef __SANITIZE_ADDRESS__
    TstPidrtsys test;
#else
    TstPidrtsysWithPlainAllocator test;
#endif
    return QTest::qExec(&test, argc, argv);
}

#include "tst_pidrtsys.moc"
