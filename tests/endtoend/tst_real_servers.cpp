// Runs on patch sources of the web servers that administrators use, configured as their Debian packages leave them, and
// through a proxy. What servers can do wrong is tested with the FakePatchServer; here the question is whether the
// program and these servers understand each other.
#include "installable_release.h"
#include "real_server.h"
#include "sample_release.h"
#include "test.h"
#include "test_files.h"

#include <QRegularExpression>

namespace {

const QString URL = QStringLiteral("http://patches.test/5.9/");

const QStringList SERVERS{"nginx", "apache2", "lighttpd", "busybox"};

// As a log has them, between what is the same in each line.
QByteArray logOf(const QList<QByteArray>& paths, const QByteArray& before, const QByteArray& after)
{
    QByteArray lines;
    for (const QByteArray& path : paths) {
        lines += before + path + after + '\n';
    }
    return lines;
}

// The log of error answers. Those of busybox end with the connection, and when Qt sees its end before the answer, it
// repeats the request, up to two times.
QByteArray logOfErrors(RealServer& web, const QString& server)
{
    static const QRegularExpression repeated("^(.*\\n)\\1{1,2}", QRegularExpression::MultilineOption);
    const QByteArray log = web.requests();
    return server == "busybox" ? QString::fromUtf8(log).replace(repeated, "\\1").toUtf8() : log;
}

} // namespace

class TstRealServers : public Test
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        const QString obstacle = RealServer::obstacle();
        if (!obstacle.isEmpty()) {
            QSKIP(qPrintable(obstacle));
        }
    }

    void patchesAreListedOrShown_data()
    {
        const Rows<QString, QString, QByteArray> row("server", "option", "rest");
        for (const QString& server : SERVERS) {
            row(server.toUtf8() + ", list", server, "-l", "");
            row(server.toUtf8() + ", dry run", server, "-n", DRY_RUN);
        }
    }

    void patchesAreListedOrShown()
    {
        QFETCH(QString, server);
        QFETCH(QString, option);
        QFETCH(QByteArray, rest);
        SampleRelease sample;
        const QStringList before = listingOf(RELEASE_DIRECTORY);
        ServedFolder folder;
        folder.addCopy(sample.sourceFile(""), "5.9");
        RealServer web(server);
        compareRun(sample.program.run({"-t", option, URL}), 0, sample.report() + rest);
        QCOMPARE(web.requests(), QByteArray("/5.9/ 200\n"));
        QCOMPARE(listingOf(RELEASE_DIRECTORY), before);
    }

    void everyKindOfArchiveIsInstalled_data()
    {
        const Rows<QString> row("server");
        for (const QString& server : SERVERS) {
            row(server.toUtf8(), server);
        }
    }

    void everyKindOfArchiveIsInstalled()
    {
        QFETCH(QString, server);
        SampleRelease sample;
        const QStringList expected = sample.expectedListing();
        ServedFolder folder;
        folder.addCopy(sample.sourceFile(""), "5.9");
        RealServer web(server);
        compareRun(sample.runOn(URL), 0, sample.installingRun());
        QCOMPARE(web.requests(), logOf(sample.paths(), "", " 200"));
        QCOMPARE(listingOf(RELEASE_DIRECTORY), expected);
    }

    void missingArchiveEndsTheRun_data()
    {
        everyKindOfArchiveIsInstalled_data();
    }

    // The servers' own error pages must not be stored in its place.
    void missingArchiveEndsTheRun()
    {
        QFETCH(QString, server);
        SampleRelease sample({"P1", "P3", "P4", "P5", "P6"});
        const QStringList before = listingOf(RELEASE_DIRECTORY);
        ServedFolder folder;
        folder.add("5.9/index.html", contentOf(sample.sourceFile("index.html")));
        RealServer web(server);
        const QByteArray archive = URL.toUtf8() + "P2.tar.gz";
        compareRun(sample.program.run({"-t", URL}), 1, sample.report() + NO_CONFLICT + QUESTION + '\n' + DOWNLOAD,
                   downloadFailed(archive, "Error transferring " + archive + " - server replied: Not Found"));
        QCOMPARE(logOfErrors(web, server), QByteArray("/5.9/ 200\n/5.9/P2.tar.gz 404\n"));
        QCOMPARE(listingOf(RELEASE_DIRECTORY), before);
    }

    void folderWithoutPageEndsTheRun_data()
    {
        const auto replied = [](const QString& text) {
            return failedToRead(URL, "Error transferring " + URL + " - server replied: " + text);
        };
        const Rows<QString, QByteArray, QByteArray> row("server", "status", "errors");
        row("nginx", "nginx", "403", replied("Forbidden"));
        row("Apache, which makes a page of its own", "apache2", "200",
            "Failed to find list of patches in page source at http://patches.test/5.9/:\n"
            "Opening and ending tag mismatch.\n\nExiting\n");
        row("lighttpd", "lighttpd", "403", replied("Forbidden"));
        row("busybox", "busybox", "404", replied("Not Found"));
    }

    void folderWithoutPageEndsTheRun()
    {
        QFETCH(QString, server);
        QFETCH(QByteArray, status);
        QFETCH(QByteArray, errors);
        InstallableRelease release;
        ServedFolder folder;
        folder.add("5.9/P1.tar", "an archive");
        RealServer web(server);
        compareRun(release.program.run({"-t", "-l", URL}), 1, QByteArray(), errors);
        QCOMPARE(logOfErrors(web, server), "/5.9/ " + status + '\n');
    }

    // A file whose link is encoded is stored under its decoded name; the unpacking looks for the other and finds none.
    void unusualNameIsAskedForAndStored_data()
    {
        const Rows<QString, QString, QList<QByteArray>> row("server", "link", "members");
        for (const QString& server : SERVERS) {
            row(server.toUtf8() + ", as it is", server, QString::fromUtf8("P1. +\u00e9.tar"), {"patched/P1"});
            row(server.toUtf8() + ", encoded", server, "P1.%20+%C3%A9.tar", {});
        }
    }

    void unusualNameIsAskedForAndStored()
    {
        QFETCH(QString, server);
        QFETCH(QString, link);
        QFETCH(QList<QByteArray>, members);
        const QByteArray name = "P1. +\u00e9.tar";
        InstallableRelease release(pageWith({link}));
        const QByteArray archive = archiveOf(release.installation.path("patched/P1"), "text");
        ServedFolder folder;
        folder.addCopy(release.source.path(), "5.9");
        folder.add("5.9/" + QString::fromUtf8(name), archive);
        RealServer web(server);
        compareRun(release.program.run({"-t", URL}), 0,
                   untilUnpacking({name}) + installing(link.toUtf8(), members) + FINISH);
        QCOMPARE(web.requests(), "/5.9/ 200\n/5.9/" + name + " 200\n");
        QCOMPARE(release.content("patches/" + QString::fromUtf8(name)), archive);
        QCOMPARE(release.has("patched/P1"), !members.isEmpty());
    }

    void largeArchiveIsInstalled_data()
    {
        everyKindOfArchiveIsInstalled_data();
    }

    void largeArchiveIsInstalled()
    {
        QFETCH(QString, server);
        InstallableRelease release;
        QByteArray content;
        for (int i = 0; content.size() < 12 << 20; ++i) {
            content += QByteArray::number(i) + '\n';
        }
        const QByteArray archive = archiveOf(release.installation.path("patched/P1"), content);
        ServedFolder folder;
        folder.add("5.9/index.html", contentOf(release.source.path() + "/index.html"));
        folder.add("5.9/P1.tar", archive);
        RealServer web(server);
        compareRun(release.program.run({"-t", URL}), 0,
                   untilUnpacking({"P1.tar"}) + installing("P1.tar", {"patched/P1"}) + FINISH);
        QCOMPARE(web.requests(), QByteArray("/5.9/ 200\n/5.9/P1.tar 200\n"));
        QVERIFY(release.content("patches/P1.tar") == archive);
        QVERIFY(release.content("patched/P1") == content);
    }

    // The usual variable of the environment names it, because Qt looks there when the program sets no proxy.
    void patchesAreInstalledThroughAProxy()
    {
        SampleRelease sample;
        const QStringList expected = sample.expectedListing();
        ServedFolder folder;
        folder.addCopy(sample.sourceFile(""), "5.9");
        RealServer web("nginx");
        RealServer proxy("tinyproxy");
        sample.program.set("http_proxy", "http://127.0.0.1:8888");
        compareRun(sample.runOn(URL), 0, sample.installingRun());
        QCOMPARE(proxy.requests(), logOf(sample.paths(), "GET http://patches.test", ""));
        QCOMPARE(web.requests(), logOf(sample.paths(), "", " 200"));
        QCOMPARE(listingOf(RELEASE_DIRECTORY), expected);
    }

    void sourceThatTheProxyCannotReachEndsTheRun()
    {
        InstallableRelease release;
        const ServedFolder folder;
        RealServer proxy("tinyproxy");
        release.program.set("http_proxy", "http://127.0.0.1:8888");
        const QString reply = "Error transferring " + URL + " - server replied: Unable to connect";
        compareRun(release.program.run({"-t", "-l", URL}), 1, QByteArray(), failedToRead(URL, reply));
        QCOMPARE(proxy.requests(), QByteArray("GET http://patches.test/5.9/\n"));
    }
};

TAVRIN_TEST_MAIN_WITH(QCoreApplication, TstRealServers, (TestPlace{QStringLiteral("patches.test"), {}}))
#include "tst_real_servers.moc"
