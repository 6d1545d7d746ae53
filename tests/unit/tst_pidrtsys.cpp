// Asks the stand-in library for running systems while real processes named rtexec run. Other tests may run such
// processes at the same time, so records are found by pid; where their number counts, a copy of this program looks from
// a process namespace of its own, where another user's view counts, a copy looks as that user, and where the user
// database counts, a copy has one of its own. What becomes of the block that the library gives away is the subject of
// tst_pidrtsys_memory.
#include "fake_installation.h"
#include "helper_run.h"
#include "pidrtsys.h"
#include "real_process.h"
#include "test.h"
#include "test_files.h"
#include "test_paths.h"

#include <QScopeGuard>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include <grp.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr uid_t NOBODY = 65534;

struct Listed
{
    pid_t pid = 0;
    QByteArray version;
    QByteArray userName;
    QByteArray workingDirectory;
};

struct NamelessEnvironment
{
    const char* description;
    QByteArrayList environment;
};

/** Environments of a system that can be read and name no release. */
const QVector<NamelessEnvironment> NAMELESS_ENVIRONMENTS = {
    {"only slashes", {"TAVRIN=//"}},
    {"empty", {"TAVRIN="}},
    {"unset", {"LANG=C"}},
    {"no environment", {}},
    {"name that goes on", {"TAVRIN_HOME=/opt/tavrin/5.8"}},
    {"name that ends alike", {"MY_TAVRIN=/opt/tavrin/5.8"}},
};

/** What TAVRIN says in this process, the caller of the library; a null value leaves it unset. Gone with this object. */
class CallersTavrin
{
public:
    explicit CallersTavrin(const QByteArray& value)
    {
        if (!value.isNull()) {
            qputenv("TAVRIN", value);
        }
    }

    CallersTavrin(const CallersTavrin&) = delete;
    CallersTavrin& operator=(const CallersTavrin&) = delete;

    ~CallersTavrin()
    {
        qunsetenv("TAVRIN");
    }
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

/** Looks once at a system of the first user of this place; prints the user's name. */
int lookAtOwner(const QByteArray& program)
{
    Start start;
    start.program = program;
    const RealProcess process(start);
    if (!process.isUp()) {
        return 1;
    }
    printf("%s\n", recordOf(process).userName.constData());
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

} // namespace

class TstPidrtsys : public Test
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        copies = std::make_unique<SleepCopies>();
    }

    void cleanupTestCase()
    {
        QCOMPARE(copies->remove(), QString());
    }

    void runningSystemIsListedWithItsPid()
    {
        const RealProcess process(copies->systemStart());
        QVERIFY(process.isUp());
        const Listed record = recordOf(process);
        QCOMPARE(record.pid, process.pid());
        QCOMPARE(record.version, QByteArray("5.9"));
    }

    void versionIsTheLastComponentOfTavrin_data()
    {
        const Rows<QByteArrayList, QByteArray> row("environment", "version");
        row("plain", {"TAVRIN=/opt/tavrin/5.9"}, "5.9");
        row("trailing slash", {"TAVRIN=/opt/tavrin/5.9/"}, "5.9");
        row("several trailing slashes", {"TAVRIN=/opt/tavrin/5.9///"}, "5.9");
        row("elsewhere", {"TAVRIN=/home/me/5.9p"}, "5.9p");
        row("without a slash", {"TAVRIN=DEV"}, "DEV");
        row("trailing blank", {"TAVRIN=/opt/tavrin/5.9 "}, "5.9 ");
        row("not ASCII", {"TAVRIN=/opt/tavrin/5.9\xc3\xa9"}, "5.9\xc3\xa9");
        row("among others", {"A=" + QByteArray(20000, 'a'), "TAVRIN=/opt/tavrin/5.9", "B=b"}, "5.9");
        row("set twice, as getenv sees it", {"TAVRIN=/opt/tavrin/5.9", "TAVRIN=/opt/tavrin/5.8"}, "5.9");
    }

    void versionIsTheLastComponentOfTavrin()
    {
        QFETCH(QByteArrayList, environment);
        QFETCH(QByteArray, version);
        Start start = copies->systemStart();
        start.environment = environment;
        // A release in the environment goes before the one in the path.
        start.arguments = QByteArrayList{"/opt/tavrin/1.0/bin/rtexec", "600"};
        const RealProcess process(start);
        QVERIFY(process.isUp());
        const Listed record = recordOf(process);
        QCOMPARE(record.pid, process.pid());
        QCOMPARE(record.version, version);
    }

    void overLongVersionIsCutBetweenCharacters_data()
    {
        const Rows<QByteArray, QByteArray> row("component", "version");
        const QByteArray euro = "\xe2\x82\xac";
        const QByteArray clef = "\xf0\x9d\x84\x9e";
        row("just fits", QByteArray(1027, 'x'), QByteArray(1027, 'x'));
        row("one too long", QByteArray(1028, 'x'), QByteArray(1027, 'x'));
        row("far too long", QByteArray(100000, 'x'), QByteArray(1027, 'x'));
        row("two bytes, halved", QByteArray("\xc3\xa9").repeated(600), QByteArray("\xc3\xa9").repeated(513));
        row("two bytes, at an edge", 'x' + QByteArray("\xc3\xa9").repeated(600),
            'x' + QByteArray("\xc3\xa9").repeated(513));
        row("three bytes, after the first", euro.repeated(400), euro.repeated(342));
        row("three bytes, after the second", "xx" + euro.repeated(400), "xx" + euro.repeated(341));
        row("four bytes, after the third", clef.repeated(300), clef.repeated(256));
        row("no UTF-8", QByteArray(2000, '\x80'), QByteArray(1027, '\x80'));
    }

    void overLongVersionIsCutBetweenCharacters()
    {
        QFETCH(QByteArray, component);
        QFETCH(QByteArray, version);
        Start start = copies->systemStart();
        start.environment = QByteArrayList{"TAVRIN=/opt/tavrin/" + component};
        const RealProcess process(start);
        QVERIFY(process.isUp());
        const Listed record = recordOf(process);
        QCOMPARE(record.version, version);
        QCOMPARE(record.workingDirectory, QByteArray("/"));
        QCOMPARE(record.pid, process.pid());
    }

    void userNameIsTheOwners()
    {
        const RealProcess process(copies->systemStart());
        QVERIFY(process.isUp());
        QCOMPARE(recordOf(process).userName, nameOf(geteuid()));
    }

    void userNameOfAnotherUserIsGiven()
    {
        if (geteuid() != 0) {
            QSKIP("only root can start a system as another user");
        }
        QVERIFY(getpwuid(NOBODY) != nullptr);
        Start start = copies->systemStart();
        start.user = NOBODY;
        const RealProcess process(start);
        QVERIFY(process.isUp());
        QCOMPARE(recordOf(process).userName, nameOf(NOBODY));
    }

    void userWithoutNameIsGivenAsNumber()
    {
        if (geteuid() != 0) {
            QSKIP("only root can start a system as another user");
        }
        uid_t unnamed = 54321;
        while (getpwuid(unnamed) != nullptr) {
            ++unnamed;
        }
        Start start = copies->systemStart();
        start.user = unnamed;
        const RealProcess process(start);
        QVERIFY(process.isUp());
        QCOMPARE(recordOf(process).userName, QByteArray::number(unnamed));
    }

    void userWithALongRecordIsGivenByName_data()
    {
        const Rows<int> row("length");
        row("short", 10);
        row("more than a kibibyte", 1500);
        row("many kibibytes", 20000);
    }

    void userWithALongRecordIsGivenByName()
    {
        QFETCH(int, length);
        writeTestFile(copies->path("users"),
                      "operator:x:" + QByteArray::number(geteuid()) + ":0:" + QByteArray(length, 'x') + ":/:/bin/sh\n");
        const HelperRun outcome =
            runHelper(projectSourceDir() + "/scripts/with_private_opt",
                      {"--users", copies->path("users"), "--", QCoreApplication::applicationFilePath(),
                       "--look-at-owner", copies->path("rtexec")});
        QCOMPARE(outcome.errors, QByteArray());
        QCOMPARE(outcome.output, QByteArray("operator\n"));
        QCOMPARE(outcome.status, 0);
    }

    void workingDirectoryIsGivenByteForByte()
    {
        // Made and removed by the C functions: under the C locale Qt cannot spell this name.
        const QByteArray name = QFile::encodeName(copies->path()) + "/salle d'\xc3\xa9t\xc3\xa9 \xce\xa9";
        QVERIFY(mkdir(name.constData(), 0755) == 0);
        const auto remover = qScopeGuard([&name] { rmdir(name.constData()); });
        Start start = copies->systemStart();
        start.directory = name;
        const RealProcess process(start);
        QVERIFY(process.isUp());
        QCOMPARE(recordOf(process).workingDirectory, name);
    }

    void longestWorkingDirectoryIsGivenWhole()
    {
        QByteArray path = QFile::encodeName(QFileInfo(copies->path()).canonicalFilePath());
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
        Start start = copies->systemStart();
        start.directory = path;
        const RealProcess process(start);
        QVERIFY(process.isUp());
        const Listed record = recordOf(process);
        QCOMPARE(record.workingDirectory, path);
        QCOMPARE(record.version, QByteArray("5.9"));
    }

    void unreadAreaIsZero()
    {
        const RealProcess process(copies->systemStart());
        QVERIFY(process.isUp());
        Pidrtsys* systems = nullptr;
        const int count = pidrtsys(&systems);
        const auto release = qScopeGuard([&systems] { std::free(systems); });
        QVERIFY(count > 0);
        for (int index = 0; index < count; ++index) {
            QCOMPARE(QByteArray(systems[index].unread, sizeof systems[index].unread), QByteArray(64, '\0'));
        }
    }

    void environmentWithoutAReleaseLeavesTheProgramPath_data()
    {
        const Rows<QByteArrayList> row("environment");
        for (const NamelessEnvironment& nameless : NAMELESS_ENVIRONMENTS) {
            row(nameless.description, nameless.environment);
        }
    }

    void environmentWithoutAReleaseLeavesTheProgramPath()
    {
        QFETCH(QByteArrayList, environment);
        Start start = copies->systemStart();
        start.environment = environment;
        start.arguments = QByteArrayList{"/opt/tavrin/1.0/bin/rtexec", "600"};
        const RealProcess process(start);
        QVERIFY(process.isUp());
        const Listed record = recordOf(process);
        QCOMPARE(record.pid, process.pid());
        QCOMPARE(record.version, QByteArray("1.0"));
    }

    void hiddenEnvironmentLeavesTheProgramPath_data()
    {
        const Rows<QByteArray, QByteArray> row("firstArgument", "version");
        row("below a release", "/opt/tavrin/5.9/bin/rtexec", "5.9");
        row("doubled slash", "/opt/tavrin//5.9//rtexec", "5.9");
        row("not below it", "/usr/lib/rtexec", {});
        row("name alone", "rtexec", {});
        row("beside the releases", "/opt/tavrin/rtexec", {});
        row("release itself", "/opt/tavrin/5.9/", {});
        row("releases alone", "/opt/tavrin/", {});
        row("longer name", "/opt/tavrinx/5.9/bin/rtexec", {});
        row("deeper", "/srv/opt/tavrin/5.9/bin/rtexec", {});
        row("same folder", "/opt/tavrin/./5.9/rtexec", {});
        row("way out", "/opt/tavrin/../lib/rtexec", {});
        row("empty", "", {});
    }

    void hiddenEnvironmentLeavesTheProgramPath()
    {
        QFETCH(QByteArray, firstArgument);
        QFETCH(QByteArray, version);
        if (geteuid() != 0) {
            QSKIP("only root can look as another user");
        }
        Start start = copies->systemStart();
        start.arguments = QByteArrayList{firstArgument, "600"};
        start.environment = QByteArrayList{"TAVRIN=/opt/tavrin/7.7"};
        const RealProcess process(start);
        QVERIFY(process.isUp());

        const HelperRun outcome =
            runHelper(QCoreApplication::applicationFilePath(), {"--look-as", QString::number(NOBODY)});
        QCOMPARE(outcome.errors, QByteArray());
        QCOMPARE(outcome.status, 0);
        const Listed record = recordOf(process, outcome.output);
        QCOMPARE(record.pid, process.pid());
        QCOMPARE(record.version, version);
        QCOMPARE(record.userName, nameOf(0));
        QCOMPARE(record.workingDirectory, QByteArray()); // hidden as well
        QCOMPARE(recordOf(process).version, QByteArray("7.7"));
    }

    void systemOfAnotherUserStartedByItsBareNameIsNotOverlooked()
    {
        if (geteuid() != 0) {
            QSKIP("only root can look as another user");
        }
        const RealProcess process(copies->systemStart());
        QVERIFY(process.isUp());
        const HelperRun outcome = runHelper("env", {"TAVRIN=/opt/tavrin/5.9", QCoreApplication::applicationFilePath(),
                                                    "--look-as", QString::number(NOBODY)});
        QCOMPARE(outcome.errors, QByteArray());
        QCOMPARE(outcome.status, 0);
        const Listed record = recordOf(process, outcome.output);
        QCOMPARE(record.pid, process.pid());
        QCOMPARE(record.version, QByteArray("5.9"));
    }

    void releaseThatCannotBeFoundOutIsTheCallers_data()
    {
        const Rows<QByteArrayList, QByteArray, QByteArray> row("environment", "tavrin", "version");
        const QByteArrayList nothing = {"LANG=C"};
        for (const NamelessEnvironment& nameless : NAMELESS_ENVIRONMENTS) {
            row(nameless.description, nameless.environment, "/opt/tavrin/5.9", "5.9");
        }
        // The caller takes what follows the last slash for its release, so only this text is a conflict to it.
        row("caller: trailing slash", nothing, "/opt/tavrin/5.9/", {});
        row("caller: without a slash", nothing, "DEV", "DEV");
        row("caller: elsewhere", nothing, "/home/me/5.9 p", "5.9 p");
        row("caller: not ASCII", nothing, "/opt/tavrin/5.9\xc3\xa9", "5.9\xc3\xa9");
        row("caller: empty", nothing, "", {});
        row("caller: unset", nothing, {}, {});
    }

    void releaseThatCannotBeFoundOutIsTheCallers()
    {
        QFETCH(QByteArrayList, environment);
        QFETCH(QByteArray, tavrin);
        QFETCH(QByteArray, version);
        Start start = copies->systemStart();
        start.environment = environment;
        const RealProcess process(start);
        QVERIFY(process.isUp());
        const CallersTavrin caller(tavrin);
        const Listed record = recordOf(process);
        QCOMPARE(record.pid, process.pid());
        QCOMPARE(record.version, version);
    }

    void releaseThatIsKnownIsNotTheCallers_data()
    {
        const Rows<QByteArrayList, QByteArray> row("environment", "firstArgument");
        row("in the environment", {"TAVRIN=/opt/tavrin/5.8"}, "rtexec");
        row("in the path", {"LANG=C"}, "/opt/tavrin/5.8/bin/rtexec");
    }

    void releaseThatIsKnownIsNotTheCallers()
    {
        QFETCH(QByteArrayList, environment);
        QFETCH(QByteArray, firstArgument);
        Start start = copies->systemStart();
        start.environment = environment;
        start.arguments = QByteArrayList{firstArgument, "600"};
        const RealProcess process(start);
        QVERIFY(process.isUp());
        const CallersTavrin caller("/opt/tavrin/5.9");
        QCOMPARE(recordOf(process).version, QByteArray("5.8"));
    }

    void otherCommandNamesAreNotListed_data()
    {
        const Rows<QByteArray> row("name");
        for (const char* name : {"rtexecutor", "rtexec2", "rtexe", "Rtexec", "xrtexec", "rtexec "}) {
            row(name, QByteArray(name));
        }
    }

    void otherCommandNamesAreNotListed()
    {
        QFETCH(QByteArray, name);
        Start start = copies->systemStart();
        start.program = copies->add(name);
        start.arguments = QByteArrayList{"rtexec", "600"};
        const RealProcess other(start);
        const RealProcess system(copies->systemStart());
        QVERIFY(other.isUp());
        QVERIFY(system.isUp());
        QCOMPARE(procFile(other.pid(), "comm"), name + '\n');
        const QByteArray text = answer();
        QCOMPARE(recordOf(system, text).pid, system.pid());
        QCOMPARE(recordOf(other, text).pid, 0);
    }

    void commandNameCountsNotTheFirstArgument()
    {
        Start start = copies->systemStart();
        start.arguments = QByteArrayList{"something else", "600"};
        const RealProcess process(start);
        QVERIFY(process.isUp());
        QCOMPARE(recordOf(process).pid, process.pid());
    }

    void zombieIsSkipped()
    {
        const RealProcess living(copies->systemStart());
        const RealProcess ended(copies->systemStart());
        QVERIFY(living.isUp());
        QVERIFY(ended.isUp());
        QCOMPARE(recordOf(ended).pid, ended.pid());

        QVERIFY(ended.becomeZombie());
        QCOMPARE(procFile(ended.pid(), "comm"), QByteArray("rtexec\n"));
        const QByteArray text = answer();
        QCOMPARE(recordOf(ended, text).pid, 0);
        QCOMPARE(recordOf(living, text).pid, living.pid());
    }

    void recordsAreInPidOrder()
    {
        std::vector<std::unique_ptr<RealProcess>> processes;
        for (int number = 0; number < 4; ++number) {
            Start start = copies->systemStart();
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

    void vanishingSystemsDoNoHarm()
    {
        const RealProcess living(copies->systemStart());
        QVERIFY(living.isUp());
        const QByteArrayList lifetimes = {"0", "0.0005", "0.001", "0.002", "0.003"};
        int seenBriefly = 0;
        for (int round = 0; round < 30; ++round) {
            std::vector<std::unique_ptr<RealProcess>> brief;
            for (const QByteArray& lifetime : lifetimes) {
                Start start = copies->systemStart();
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

    void noneRunningGivesNullAndZero()
    {
        const HelperRun probe = runHelper("unshare", withNamespace({"true"}));
        if (probe.status != 0) {
            QSKIP(("no process namespace can be made here: " + probe.errors).constData());
        }
        const HelperRun outcome = runHelper("unshare", withNamespace({QCoreApplication::applicationFilePath(),
                                                                      "--look-at", "0", copies->path("rtexec")}));
        QCOMPARE(outcome.errors, QByteArray());
        QCOMPARE(outcome.output, QByteArray("0 null\n"));
        QCOMPARE(outcome.status, 0);
    }

    void countIsExact()
    {
        const HelperRun probe = runHelper("unshare", withNamespace({"true"}));
        if (probe.status != 0) {
            QSKIP(("no process namespace can be made here: " + probe.errors).constData());
        }
        const RealProcess outside(copies->systemStart());
        QVERIFY(outside.isUp());
        const HelperRun outcome = runHelper("unshare", withNamespace({QCoreApplication::applicationFilePath(),
                                                                      "--look-at", "3", copies->path("rtexec")}));
        QCOMPARE(outcome.errors, QByteArray());
        QCOMPARE(outcome.output, QByteArray("3 array\n"));
        QCOMPARE(outcome.status, 0);
    }

    void callsLeaveNoDescriptorOpen()
    {
        const RealProcess living(copies->systemStart());
        const RealProcess ended(copies->systemStart());
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

private:
    std::unique_ptr<SleepCopies> copies;
};

int main(int argc, char* argv[])
{
    const QByteArray task = argc > 1 ? argv[1] : "";
    if (task == "--look-as" && argc == 3) {
        return lookAs(QByteArray(argv[2]).toUInt());
    }
    if (task == "--look-at-owner" && argc == 3) {
        return lookAtOwner(argv[2]);
    }
    if (task == "--look-at" && argc == 4) {
        return lookAtExactly(QByteArray(argv[2]).toInt(), argv[3]);
    }
    forgetCallersEnvironment();
    QCoreApplication application(argc, argv);
    TstPidrtsys test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_pidrtsys.moc"
