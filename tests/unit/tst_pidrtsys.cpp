// Which processes the stand-in library lists, in which order, with which user and directory. Tests of the exact number
// of records start a copy of this program in a PID namespace of its own, and tests of the user database start one with
// a database of its own. tst_pidrtsys_release tests the release, tst_pidrtsys_memory the returned block of memory.
#include "helper_run.h"
#include "listed_systems.h"
#include "test_files.h"
#include "test_paths.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QScopeGuard>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

#include <sys/stat.h>

namespace {

constexpr uid_t NOBODY = 65534;

uid_t unnamedUser()
{
    uid_t user = 54321;
    while (getpwuid(user) != nullptr) {
        ++user;
    }
    return user;
}

// Starts a system and prints its owner as the library gives it.
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

QStringList withNamespace(const QStringList& command)
{
    const QStringList asOrdinaryUser = geteuid() == 0 ? QStringList() : QStringList{"--map-root-user"};
    return asOrdinaryUser + QStringList{"--pid", "--fork", "--kill-child", "--mount-proc"} + command;
}

// Starts systems, ends them when asked to, and prints the number that the library finds.
int lookAtExactly(int count, bool haveEnded, const QByteArray& program)
{
    Start start;
    start.program = program;
    std::vector<std::unique_ptr<RealProcess>> processes;
    for (int index = 0; index < count; ++index) {
        processes.push_back(std::make_unique<RealProcess>(start));
        if (!processes.back()->isUp() || (haveEnded && !processes.back()->becomeZombie())) {
            return 1;
        }
    }
    Pidrtsys* systems = reinterpret_cast<Pidrtsys*>(1); // the library must replace it by null
    const int found = pidrtsys(&systems);
    printf("%d %s\n", found, systems == nullptr ? "null" : "array");
    std::free(systems);
    return 0;
}

} // namespace

class TstPidrtsys : public PidrtsysTest
{
    Q_OBJECT

private slots:
    void runningSystemIsListed()
    {
        QCOMPARE(recordOfStarted(copies.systemStart()).version, QByteArray("5.9"));
    }

    void firstArgumentNeedNotBeTheCommandName()
    {
        QVERIFY(recordOfStarted(systemStart({"TAVRIN=/opt/tavrin/5.9"}, "something else")).pid > 0);
    }

    void otherCommandNamesAreNotListed_data()
    {
        const Rows<QByteArray> row("name");
        for (const char* name : {"rtexecutor", "rtexec2", "rtexe", "Rtexec", "xrtexec", "rtexec "}) {
            row(name, name);
        }
    }

    void otherCommandNamesAreNotListed()
    {
        QFETCH(QByteArray, name);
        Start start = copies.systemStart();
        start.program = copies.add(name);
        const StartedProcess other(start);
        const StartedProcess system(copies.systemStart());
        QCOMPARE(procFile(other.pid(), "comm"), name + '\n');
        const QByteArray text = answer();
        QCOMPARE(recordOf(system, text).pid, system.pid());
        QCOMPARE(recordOf(other, text).pid, 0);
    }

    void zombieIsSkipped()
    {
        const StartedProcess living(copies.systemStart());
        const StartedProcess ended(copies.systemStart());
        QCOMPARE(recordOf(ended).pid, ended.pid());

        QVERIFY(ended.becomeZombie());
        QCOMPARE(procFile(ended.pid(), "comm"), QByteArray("rtexec\n"));
        const QByteArray text = answer();
        QCOMPARE(recordOf(ended, text).pid, 0);
        QCOMPARE(recordOf(living, text).pid, living.pid());
    }

    void recordsAreInPidOrder()
    {
        std::vector<std::unique_ptr<StartedProcess>> processes;
        for (int number = 0; number < 4; ++number) {
            const QByteArray environment = "TAVRIN=/opt/tavrin/5." + QByteArray::number(number);
            processes.push_back(std::make_unique<StartedProcess>(systemStart({environment})));
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

    void systemsThatEndDuringTheCallAreTolerated()
    {
        const StartedProcess living(copies.systemStart());
        int briefOnesListed = 0;
        for (int round = 0; round < 30; ++round) {
            std::vector<std::unique_ptr<RealProcess>> brief;
            for (const QByteArray lifetime : {"0", "0.0005", "0.001", "0.002", "0.003"}) {
                Start start = copies.systemStart();
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
                    briefOnesListed += recordOf(*process, text).pid == process->pid() ? 1 : 0;
                }
                const auto ended = [](const std::unique_ptr<RealProcess>& process) {
                    return process->hasEnded();
                };
                brief.erase(std::remove_if(brief.begin(), brief.end(), ended), brief.end());
                QVERIFY(!deadline.hasExpired());
            }
        }
        QVERIFY2(briefOnesListed > 0, "no short-lived system was ever listed, so none can have ended during a call");
    }

    void countIsExact_data()
    {
        const Rows<QString, QString, QByteArray> row("count", "state", "found");
        row("none", "0", "living", "0 null\n");
        row("three", "3", "living", "3 array\n");
        row("three that have ended", "3", "ended", "0 null\n");
    }

    void countIsExact()
    {
        QFETCH(QString, count);
        QFETCH(QString, state);
        const HelperRun probe = runHelper("unshare", withNamespace({"true"}));
        if (probe.status != 0) {
            QSKIP(("a PID namespace cannot be created: " + probe.errors).constData());
        }
        const StartedProcess outside(copies.systemStart());
        const HelperRun outcome = runHelper(
            "unshare",
            withNamespace({QCoreApplication::applicationFilePath(), "--look-at", count, state, copies.path("rtexec")}));
        QCOMPARE(outcome.errors, QByteArray());
        QTEST(outcome.output, "found");
        QCOMPARE(outcome.status, 0);
    }

    void callsLeaveNoDescriptorOpen()
    {
        const StartedProcess living(copies.systemStart());
        const StartedProcess ended(copies.systemStart());
        QVERIFY(ended.becomeZombie());
        const auto openDescriptors = [] {
            return QDir("/proc/self/fd").entryList(QDir::AllEntries | QDir::System).size();
        };
        QCOMPARE(recordOf(living).pid, living.pid()); // the first call may leave the user database open
        const int before = openDescriptors();
        QCOMPARE(recordOf(living).pid, living.pid());
        QCOMPARE(openDescriptors(), before);
    }

    void ownerIsGivenByName_data()
    {
        const Rows<uint, QByteArray> row("user", "name");
        row("the user of this process", geteuid(), nameOf(geteuid()));
        row("another user", NOBODY, nameOf(NOBODY));
        row("user without a name", unnamedUser(), QByteArray::number(unnamedUser()));
    }

    void ownerIsGivenByName()
    {
        QFETCH(uint, user);
        if (user != geteuid() && geteuid() != 0) {
            QSKIP("only root can start a system as another user");
        }
        QVERIFY(getpwuid(NOBODY) != nullptr);
        Start start = copies.systemStart();
        start.user = user;
        QTEST(recordOfStarted(start).userName, "name");
    }

    void userWithALongRecordIsGivenByName_data()
    {
        const Rows<int> row("length");
        row("short", 10);
        row("1500 bytes", 1500);
        row("20000 bytes", 20000);
    }

    void userWithALongRecordIsGivenByName()
    {
        QFETCH(int, length);
        // Every user is root in the private place.
        writeTestFile(copies.path("users"), "operator:x:0:0:" + QByteArray(length, 'x') + ":/:/bin/sh\n");
        const HelperRun outcome =
            runHelper(projectSourceDir() + "/scripts/with_private_opt",
                      {"--users", copies.path("users"), "--", QCoreApplication::applicationFilePath(),
                       "--look-at-owner", copies.path("rtexec")});
        QCOMPARE(outcome.errors, QByteArray());
        QCOMPARE(outcome.output, QByteArray("operator\n"));
        QCOMPARE(outcome.status, 0);
    }

    void workingDirectoryIsGivenByteForByte()
    {
        // Created and removed by C functions: Qt cannot encode this name under the C locale.
        const QByteArray name = QFile::encodeName(copies.path()) + "/salle d'\xc3\xa9t\xc3\xa9 \xce\xa9";
        QVERIFY(mkdir(name.constData(), 0755) == 0);
        const auto remover = qScopeGuard([&name] { rmdir(name.constData()); });
        Start start = copies.systemStart();
        start.directory = name;
        QCOMPARE(recordOfStarted(start).workingDirectory, name);
    }

    void longestWorkingDirectoryIsGivenWhole()
    {
        QByteArray path = QFile::encodeName(QFileInfo(copies.path()).canonicalFilePath());
        constexpr int longest = 4095; // the kernel's limit, and the size of the field without its NUL
        while (path.size() < longest) {
            const int left = longest - path.size();
            path += '/' + QByteArray(left > 400 ? 200 : qMin(left - 1, 200), 'd');
            // A single byte may not remain: the last component needs a slash and a character.
            if (longest - path.size() == 1) {
                path.chop(1);
            }
            QVERIFY2(mkdir(path.constData(), 0755) == 0, strerror(errno));
        }
        QCOMPARE(path.size(), longest);
        Start start = copies.systemStart();
        start.directory = path;
        const Listed record = recordOfStarted(start);
        QCOMPARE(record.workingDirectory, path);
        QCOMPARE(record.version, QByteArray("5.9"));
    }

    void unreadAreaIsZero()
    {
        const StartedProcess process(copies.systemStart());
        Pidrtsys* systems = nullptr;
        const int count = pidrtsys(&systems);
        const auto release = qScopeGuard([&systems] { std::free(systems); });
        QVERIFY(count > 0);
        for (int index = 0; index < count; ++index) {
            QCOMPARE(QByteArray(systems[index].unread, sizeof systems[index].unread), QByteArray(64, '\0'));
        }
    }
};

int main(int argc, char* argv[])
{
    if (argc == 3 && qstrcmp(argv[1], "--look-at-owner") == 0) {
        return lookAtOwner(argv[2]);
    }
    if (argc == 5 && qstrcmp(argv[1], "--look-at") == 0) {
        return lookAtExactly(QByteArray(argv[2]).toInt(), qstrcmp(argv[3], "ended") == 0, argv[4]);
    }
    forgetCallersEnvironment();
    return runTests<QCoreApplication, TstPidrtsys>(argc, argv);
}
#include "tst_pidrtsys.moc"
