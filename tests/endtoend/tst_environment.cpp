// The checks at the start of a run: which TAVRIN is accepted, which directories must be writable, and from which
// address the list is requested. An override of the release is tested in tst_override. This test has a network of its
// own, in which the host of the default address is on loopback.
#include "expected_texts.h"
#include "installable_release.h"
#include "test.h"
#include "test_paths.h"

#include <QDir>
#include <QUrl>

class TstEnvironment : public Test
{
    Q_OBJECT

private slots:
    void unsetTavrinIsRefused_data()
    {
        const Rows<bool, QStringList> row("set", "arguments");
        row("unset", false, {"-t"});
        row("empty", true, {"-t"});
        row("unset in a listing run", false, {"-t", "-l"});
        row("unset with an override", false, {"-t", "-r", "5.8"});
        row("empty with a URL that is not valid", true, {"-t", "http://[/"});
    }

    void unsetTavrinIsRefused()
    {
        QFETCH(bool, set);
        QFETCH(QStringList, arguments);
        Program program;
        if (set) {
            program.tavrin({});
        }
        compareRun(program.run(arguments), 1, {}, TAVRIN_NOT_SET);
    }

    void unusableInstallationIsRefused_data()
    {
        const Rows<QString, QStringList, QByteArray> row("tavrin", "options", "named");
        row("missing", "/opt/tavrin/6.0", {}, "/opt/tavrin/6.0");
        row("missing, listing", "/opt/tavrin/6.0", {"-L"}, "/opt/tavrin/6.0");
        row("missing, with a redundant override", "/opt/tavrin/6.0", {"-r", "6.0"}, "/opt/tavrin/6.0");
        row("missing, with an empty override", "/opt/tavrin/6.0", {"-r", ""}, "/opt/tavrin/6.0");
        row("missing, with a trailing slash", "/opt/tavrin/6.0/", {}, "/opt/tavrin/6.0/");
        row("missing, outside the standard location", "/nowhere/tavrin/5.9", {}, "/nowhere/tavrin/5.9");
        row("missing, with a relative path", "missing", {}, "/opt/tavrin/5.9/missing");
        row("a plain file", "/opt/tavrin/5.9/file", {}, "/opt/tavrin/5.9/file");
        row("unreadable", "/opt/tavrin/5.9/locked", {}, "/opt/tavrin/5.9/locked");
        row("dangling link", "/opt/tavrin/5.9/dangling", {}, "/opt/tavrin/5.9/dangling");
    }

    void unusableInstallationIsRefused()
    {
        QFETCH(QString, tavrin);
        QFETCH(QStringList, options);
        QFETCH(QByteArray, named);
        FakeInstallation installation;
        installation.withFile("file").withFile("locked/file").withMode("locked", 0311);
        QVERIFY(QFile::link("/nowhere", installation.path("dangling")));
        Program program;
        program.tavrin(tavrin).workingDirectory(installation.path());
        compareRun(program.run(QStringList{"-t"} + options), 1, {}, invalidDirectory(named));
    }

    void installationElsewhereIsRefused_data()
    {
        const Rows<QString, QString, QStringList> row("tavrin", "named", "options");
        row("the directory of all releases", "/opt/tavrin", "/opt/tavrin", {});
        row("a directory next to it", "/opt/tavrin-old/5.9", "/opt/tavrin-old/5.9", {});
        row("its name in capitals", "/opt/TAVRIN/5.9", "/opt/TAVRIN/5.9", {});
        row("a listing run", "/opt/TAVRIN/5.9", "/opt/TAVRIN/5.9", {"-l"});
        row("a path that leaves it again", "/opt/tavrin/../TAVRIN/5.9", "/opt/TAVRIN/5.9", {});
        row("the standard location in another directory", "/opt/elsewhere/opt/tavrin/5.9",
            "/opt/elsewhere/opt/tavrin/5.9", {});
        row("a URL that is not valid, too", "/opt/TAVRIN/5.9", "/opt/TAVRIN/5.9", {"http://[/"});
        row("outside of /opt", "%1", "%1", {});
        row("a link into the standard location", "%1/link", "%1/link", {});
    }

    // %1 is a directory outside of /opt.
    void installationElsewhereIsRefused()
    {
        QFETCH(QString, tavrin);
        QFETCH(QString, named);
        QFETCH(QStringList, options);
        const FakeInstallation installation;
        const QTemporaryDir elsewhere;
        QVERIFY(QFile::link(installation.path(), elsewhere.filePath("link")));
        const QStringList folders{"/opt/tavrin-old/5.9", "/opt/TAVRIN/5.9", "/opt/elsewhere/opt/tavrin/5.9"};
        for (const QString& folder : folders) {
            QVERIFY(QDir().mkpath(folder));
        }
        const ProgramRun run =
            Program().tavrin(tavrin.replace("%1", elsewhere.path())).run(QStringList{"-t"} + options);
        for (const QString& folder : folders) {
            QVERIFY(QDir().rmpath(folder)); // only what is empty: a folder of the machine may have that name
        }
        compareRun(run, 1, {}, nonStandardLocation(named.replace("%1", elsewhere.path())));
    }

    void linkedReleaseHasTheNameOfTheLink()
    {
        InstallableRelease release{PatchPage()};
        QVERIFY(QFile::link(release.installation.path(), "/opt/tavrin/current"));
        release.program.tavrin("/opt/tavrin/current");
        const ProgramRun run = release.run();
        QVERIFY(QFile::remove("/opt/tavrin/current"));
        compareRun(run, 0, reportOf("current"));
    }

    void unwritableEntryIsRefused_data()
    {
        const Rows<QString> row("entry");
        row("the installation itself", {});
        for (const char* entry :
             {"patched", "patches", "bin", "data", "data/pf", "include", "lib", "man", "man/man1"}) {
            row(entry, entry);
        }
    }

    void unwritableEntryIsRefused()
    {
        QFETCH(QString, entry);
        FakeInstallation installation;
        installation.withMode(entry, 0555);
        const QStringList before = installation.tree();
        compareRun(Program().tavrin(installation.path()).run({"-t", "file:///nowhere/"}), 1, {},
                   notWritable({installation.path(entry)}));
        QCOMPARE(installation.tree(), before);
    }

    void allUnwritableEntriesAreNamedInOrder()
    {
        FakeInstallation installation;
        const QStringList entries{"",        "patched", "patches", "bin", "data",
                                  "data/pf", "include", "lib",     "man", "man/man1"};
        for (const QString& entry : entries) {
            installation.withMode(entry, 0555);
        }
        compareRun(Program().tavrin(installation.path()).run({"-t", "-Q", "-v"}), 1, {},
                   notWritable(pathsIn(installation, entries)));
    }

    void readOnlyFileSystemIsRefused()
    {
        const FakeInstallation installation;
        const ReadOnlyMount unwritable(installation.path("man"));
        compareRun(Program().tavrin(installation.path()).run({"-t"}), 1, {},
                   notWritable(pathsIn(installation, {"man", "man/man1"})));
    }

    void missingEntriesCountAsUnwritable_data()
    {
        const Rows<QStringList, QStringList> row("removed", "named");
        row("the marks", {"patched"}, {"patched"});
        row("a subdirectory", {"data/pf"}, {"data/pf"});
        row("a directory with a subdirectory", {"data"}, {"data", "data/pf"});
        row("everything", {"patched", "patches", "bin", "data", "include", "lib", "man"},
            {"patched", "patches", "bin", "data", "data/pf", "include", "lib", "man", "man/man1"});
    }

    // This is checked before the URL.
    void missingEntriesCountAsUnwritable()
    {
        QFETCH(QStringList, removed);
        QFETCH(QStringList, named);
        FakeInstallation installation;
        for (const QString& entry : removed) {
            installation.without(entry);
        }
        const QByteArray errors = notWritable(pathsIn(installation, named));
        compareRun(Program().tavrin(installation.path()).run({"-t"}), 1, {}, errors);
        compareRun(Program().tavrin(installation.path()).run({"-t", "http://[/"}), 1, {}, errors);
    }

    void listingNeedsNoWriteAccess_data()
    {
        const Rows<QStringList> row("options");
        row("-l", {"-l"});
        row("-L", {"-L"});
        row("-n", {"-n"});
        row("-l -Q", {"-l", "-Q"});
    }

    void listingNeedsNoWriteAccess()
    {
        QFETCH(QStringList, options);
        InstallableRelease release{PatchPage()};
        release.installation.without("lib").withMode("patched", 0555).withMode({}, 0555);
        compareRun(release.run(options), 0, reportOf("5.9"));
    }

    void writableInstallationPassesAllChecks()
    {
        InstallableRelease release{PatchPage()};
        const QStringList before = release.installation.tree();
        compareRun(release.run(), 0, reportOf("5.9"));
        QCOMPARE(release.installation.tree(), before);
    }

    void invalidUrlIsRefused_data()
    {
        const Rows<QString, QString> row("url", "normalised");
        row("an invalid host", "http://[/", "http://[/");
        row("an invalid port", "http://host.test:port", "http://host.test:port/");
        row("a place marker", "http://[%2/", "http://[%2/");
    }

    void invalidUrlIsRefused()
    {
        QFETCH(QString, url);
        QFETCH(QString, normalised);
        const FakeInstallation installation;
        const QUrl parsed(normalised);
        QVERIFY(!parsed.isValid());
        compareRun(Program().tavrin(installation.path()).run({"-t", url}), 1, {},
                   "Url '" + normalised.toUtf8() + "' is invalid.\n" + parsed.errorString().toUtf8() + "\n");
    }

    void defaultSourceIsUsed_data()
    {
        const Rows<QString, QStringList, QByteArray, QByteArray> row("tavrin", "arguments", "path", "output");
        const QString defaultUrl = QStringLiteral("http://%1/patches/5.9/Linux_x86/").arg(patchServerHost());
        const QByteArray plain = "/patches/5.9/Linux_x86/";
        row("no URL", "/opt/tavrin/5.9", {}, plain, reportOf("5.9"));
        row("an empty URL", "/opt/tavrin/5.9", {""}, plain, reportOf("5.9"));
        row("the default URL", "/opt/tavrin/5.9", {defaultUrl}, plain, reportOf("5.9"));
        row("the overriding release", "/opt/tavrin/5.9", {"-r", "5.8"}, "/patches/5.8/Linux_x86/",
            overrideWarning() + reportOf("overridden to 5.8"));
        row("an override in other letter case", "/opt/tavrin/beta", {"-r", "BETA"}, "/patches/beta/Linux_x86/",
            reportOf("beta"));
        row("a trailing slash after the release", "/opt/tavrin/5.9/", {}, "/patches//Linux_x86/", reportOf(""));
    }

    void defaultSourceIsUsed()
    {
        QFETCH(QString, tavrin);
        QFETCH(QStringList, arguments);
        QFETCH(QByteArray, path);
        QFETCH(QByteArray, output);
        const FakeInstallation installed("5.9");
        const FakeInstallation other("5.8");
        const FakeInstallation named("beta");
        FakePatchServer server(80);
        server.answer(path, FakePatchServer::Answer::body(PatchPage().html()));
        compareRun(Program().tavrin(tavrin).run(QStringList{"-t"} + arguments), 0, output);
        QCOMPARE(server.requestedPaths(), QList<QByteArray>{path});
        QCOMPARE(server.requests().first().headers.value("host"), patchServerHost().toLatin1());
    }

    void givenSourceIsUsedInsteadOfTheDefault()
    {
        ServedRelease release{PatchPage()};
        FakePatchServer maker(80);
        compareRun(release.program.run({"-t", release.server.url("/5.9"), maker.url("/x/")}), 0, reportOf("5.9"));
        QCOMPARE(release.server.requestedPaths(), QList<QByteArray>{"/5.9/"});
        QCOMPARE(maker.requestedPaths(), QList<QByteArray>());
    }

private:
    void tearDown() override
    {
        QCOMPARE(QDir("/opt/tavrin").entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList());
    }

    static QStringList pathsIn(const FakeInstallation& installation, const QStringList& entries)
    {
        QStringList paths;
        for (const QString& entry : entries) {
            paths << installation.path(entry);
        }
        return paths;
    }
};

TAVRIN_TEST_MAIN_WITH(QCoreApplication, TstEnvironment, (TestPlace{patchServerHost(), {}}))
#include "tst_environment.moc"
