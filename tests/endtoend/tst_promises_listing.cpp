// A run that only lists changes nothing below the installation. The tree is compared with all times that a change would
// leave, and strace shows that neither the program nor the mailer that it starts opens anything there for writing. Each
// run is made a second time in an installation that is mounted read-only, with the same result.
#include "expected_texts.h"
#include "installable_release.h"
#include "test.h"
#include "test_files.h"

#include <QDirIterator>

#include <sys/stat.h>

namespace {

const QString RELEASES = QStringLiteral("/opt/tavrin");

// What listingOf() says and, for each entry, its number and the times of its last changes; those of reading are left
// out.
QStringList stateOf(const QString& directory)
{
    QStringList state = listingOf(directory);
    QStringList names{directory};
    QDirIterator walk(directory, QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot,
                      QDirIterator::Subdirectories);
    while (walk.hasNext()) {
        names << walk.next();
    }
    for (const QString& name : qAsConst(names)) {
        struct stat status = {};
        if (::lstat(QFile::encodeName(name).constData(), &status) != 0) {
            qFatal("cannot look at %s", qUtf8Printable(name));
        }
        const auto time = [](const timespec& moment) {
            return QStringLiteral("%1.%2").arg(moment.tv_sec).arg(moment.tv_nsec);
        };
        state << QStringLiteral("%1 %2 %3 %4 %5:%6")
                     .arg(name, QString::number(status.st_ino), time(status.st_mtim), time(status.st_ctim),
                          QString::number(status.st_uid), QString::number(status.st_gid));
    }
    return state;
}

bool concernsRelease(const SystemCall& call)
{
    return call.changesFiles() && call.arguments.contains(RELEASES.toUtf8());
}

} // namespace

class TstPromisesListing : public Test
{
    Q_OBJECT

private slots:
    void listingChangesNothing_data()
    {
        const Rows<QStringList, bool, QByteArray, QStringList> row("options", "isServed", "output", "tools");
        const QByteArray report = reportOf("5.9", {{"P1", "text"}, {"P3", "text"}});
        const QByteArray all = headerLine("5.9") + "*  P1\n   P2\n*  P3\n\n";
        const QByteArray other = overrideWarning() + reportOf("overridden to 5.8", {{"P2", "text"}, {"P3", "text"}});
        const QByteArray otherAll = overrideWarning() + headerLine("overridden to 5.8") + "   P1\n*  P2\n*  P3\n\n";
        const QByteArray otherSteps = STEPS_HEADING + CHECK + noSystemDetected("5.8") + DRY_STEPS;
        const QByteArray otherStepsUnannounced = CHECK + noSystemDetected("5.8") + DRY_STEPS;
        const QString mail = "perl|rtmail|-s|'2 Tavrin patches available' |ops@site.test";
        const QStringList address{"-m", "ops@site.test"};
        const QStringList release{"-r", "5.8"};
        for (const bool isServed : {false, true}) {
            const auto add = [&](const QStringList& options, const QByteArray& output, const QStringList& tools = {}) {
                row(options.join(' ').toUtf8() + (isServed ? ", http:" : ", file:"), options, isServed, output, tools);
            };
            add({"-l"}, report);
            add({"-L"}, all);
            add({"-l", "-L"}, all);
            add({"-l", "-Q"}, report);
            add({"-L", "-v", "-Q"}, all);
            add({"-n"}, report + DRY_RUN);
            add({"-n", "-l", "-Q", "-v"}, report + DRY_RUN);
            add({"-n", "-L"}, all + DRY_RUN);
            add({"-l", "-r", "5.9"}, report);
            add(address, {}, {mail});
            add(address + QStringList{"-l", "-Q"}, {}, {mail});
            add(address + QStringList{"-L"}, {});
            add(address + QStringList{"-n"}, NO_CONFLICT + DRY_STEPS, {mail});
            add(release, other + otherSteps);
            add(release + QStringList{"-Q"}, other + otherSteps);
            add(release + QStringList{"-l"}, other + otherSteps);
            add(release + QStringList{"-L"}, otherAll + otherSteps);
            add(release + QStringList{"-n"}, other + otherSteps);
            add(release + address, overrideWarning() + otherStepsUnannounced, {mail});
        }
    }

    void listingChangesNothing()
    {
        QFETCH(QStringList, options);
        QFETCH(bool, isServed);
        QFETCH(QByteArray, output);
        QFETCH(QStringList, tools);
        const PatchPage page = pageWith({"P1.tar", "P2.tar", "P3.tar"});
        InstallableRelease release(page);
        release.installation.withPatched("P2").withFile("patches/P1.tar", "of an earlier run");
        FakeInstallation other("5.8");
        other.withTools().withPatched("P1");
        FakePatchServer server;
        server.answer("/5.9/", FakePatchServer::Answer::body(page.html()));
        FakeTools recorders;
        for (const char* name : {"gunzip", "perl"}) {
            recorders.add(name);
        }
        release.installation.without("bin/bsdtar");
        recorders.addTo(release.installation.path("bin"), "bsdtar");
        release.program.path(recorders.pathDirectory()).unset("FAKE_PIDRTSYS_LOG").traceCalls();
        const QStringList arguments =
            QStringList{"-t"} + options + QStringList{isServed ? server.url("/5.9/") : release.source.url()};

        const QStringList before = stateOf(RELEASES);
        compareRun(release.program.run(arguments), 0, output);
        QCOMPARE(stateOf(RELEASES), before);
        const QList<SystemCall> calls = release.program.tracedCalls();
        QCOMPARE(linesOf(calls, concernsRelease), QList<QByteArray>());
        // The program itself opens nothing else for writing either.
        QCOMPARE(filesWrittenByProgram(calls), QList<QByteArray>{"/dev/null"});
        QCOMPARE(recorders.callLines(), tools);

        const ReadOnlyMount readOnly(RELEASES);
        compareRun(release.program.run(arguments), 0, output);
        QCOMPARE(recorders.callLines(), tools + tools);
    }
};

TAVRIN_TEST_MAIN(TstPromisesListing)
#include "tst_promises_listing.moc"
