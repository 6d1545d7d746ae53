// How the program loads the module of the window: from its place relative to the program and from nowhere else, only
// for a run that needs it, and with a message when there is none that it can use. Each test has a copy of the program
// with its module, on Qt's offscreen platform. tst_window tests the window that the module shows.
#include "expected_texts.h"
#include "installable_release.h"
#include "program_copy.h"
#include "test.h"
#include "test_files.h"
#include "test_paths.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonObject>
#include <QLibraryInfo>
#include <QPluginLoader>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <functional>
#include <memory>

#include <sys/stat.h>

using Answer = FakePatchServer::Answer;
using Change = std::function<void(const QString&)>; // of the module with this path

Q_DECLARE_METATYPE(Change)

namespace {

// The version in a module's description of itself.
QByteArray versionOf(const QString& module)
{
    return QPluginLoader(module).metaData()["MetaData"].toObject()["version"].toString().toLatin1();
}

QByteArray anotherVersion(const QByteArray& found)
{
    return noWindow("the installed window is of another version (" + found + " instead of " + versionOf(modulePath()) +
                    ')');
}

Change replacedBy(const Change& make)
{
    return [make](const QString& module) {
        QVERIFY(QFile::remove(module));
        make(module);
    };
}

Change truncatedTo(const std::function<qint64(qint64)>& newSize)
{
    return [newSize](const QString& module) {
        QVERIFY(QFile::resize(module, newSize(QFileInfo(module).size())));
    };
}

} // namespace

class TstWindowModule : public Test
{
    Q_OBJECT

private slots:
    void missingModuleEndsARunThatNeedsADisplay_data()
    {
        const Rows<QStringList> row("options");
        row("the window", {});
        row("-l", {"-l"});
        row("-L", {"-L"});
        row("-m", {"-m", "ops@site.test"});
        row("-t in a cluster", {"-tl"});
        row("an unknown option", {"-x"});
    }

    void missingModuleEndsARunThatNeedsADisplay()
    {
        QFETCH(QStringList, options);
        QVERIFY(QFile::remove(copy->module()));
        compareRun(runWithDisplay(options), 1, {}, noWindow());
    }

    void terminalRunNeedsNoModule_data()
    {
        const Rows<Change> row("change");
        row("complete", [](const QString&) {});
        row("missing", [](const QString& module) { QVERIFY(QFile::remove(module)); });
        row("empty", truncatedTo([](qint64) { return 0; }));
    }

    void terminalRunNeedsNoModule()
    {
        QFETCH(Change, change);
        change(copy->module());
        compareRun(release->run({"-l"}), 0, reportOf("5.9", patchesOf(1)));
    }

    void onlyARunThatNeedsADisplayLoadsTheModule_data()
    {
        const Rows<QStringList, bool> row("options", "loads");
        row("-t -l", {"-t", "-l"}, false);
        row("-l", {"-l"}, true);
    }

    void onlyARunThatNeedsADisplayLoadsTheModule()
    {
        QFETCH(QStringList, options);
        QFETCH(bool, loads);
        FakePatchServer server;
        server.answer("/", Answer::body(pageOf(1).html()).held());
        const auto session = release->program.start(options + QStringList{server.url()});
        QTRY_COMPARE_WITH_TIMEOUT(server.requestedPaths().size(), 1, PATIENCE);
        const QByteArray memory = contentOf(QString("/proc/%1/maps").arg(session->processId()));
        QVERIFY(memory.contains("/libQt5Network.so"));
        for (const QByteArray& file : {QFile::encodeName(copy->module()), QByteArray("/libQt5Widgets.so"),
                                       QByteArray("/libQt5Gui.so"), QByteArray("/plugins/platforms/")}) {
            QVERIFY2(memory.contains(file) == loads, file);
        }
        QVERIFY(!memory.contains("/plugins/bearer/")); // they would watch the network interfaces
        server.release("/");
        compareRun(session->finish(), 0, reportOf("5.9", patchesOf(1)));
    }

    void nameOfTheFolderDoesNotMatter_data()
    {
        const Rows<QString, QString> row("name", "locale");
        row("blanks", "two words", "C.UTF-8");
        row("a place marker", "%1", "C.UTF-8");
        row("a letter that is not ASCII", "Größe", "C.UTF-8");
        row("a letter that is not ASCII, in an ASCII locale", "Größe", "C");
    }

    void nameOfTheFolderDoesNotMatter()
    {
        QFETCH(QString, name);
        QFETCH(QString, locale);
        const ProgramCopy other(folder->filePath(name));
        release->program.invokedAs(other.program()).locale(locale);
        compareRun(runWithDisplay({"-l"}), 0, reportOf("5.9", patchesOf(1)));
    }

    void moduleOfAnotherVersionIsRefused()
    {
        const QByteArray version = versionOf(copy->module());
        const QByteArray other = QString(version).replace(QRegularExpression("[0-9]"), "9").toLatin1();
        writeTestFile(copy->module(), contentOf(copy->module()).replace(version, other));
        QVERIFY(other != version);
        QCOMPARE(versionOf(copy->module()), other);
        compareRun(runWithDisplay({"-l"}), 1, {}, anotherVersion(other));
    }

    void plugInWithoutAVersionIsRefused()
    {
        const QString other = QLibraryInfo::location(QLibraryInfo::PluginsPath) + "/platforms/libqoffscreen.so";
        replacedBy([other](const QString& module) { QVERIFY(QFile::copy(other, module)); })(copy->module());
        compareRun(runWithDisplay({"-l"}), 1, {}, anotherVersion("unknown"));
    }

    void faultyModuleIsRefused_data()
    {
        const Rows<Change> row("change");
        row("empty", truncatedTo([](qint64) { return 0; }));
        row("a few bytes", truncatedTo([](qint64) { return 100; }));
        row("its first half", truncatedTo([](qint64 size) { return size / 2; }));
        row("without its last byte", truncatedTo([](qint64 size) { return size - 1; }));
        row("unreadable", [](const QString& module) { QVERIFY(QFile::setPermissions(module, {})); });
        row("a text", replacedBy([](const QString& module) { writeTestFile(module, "a text\n"); }));
        row("a library that is no plug-in",
            replacedBy([](const QString& module) { QVERIFY(QFile::copy(pidrtsysPath(), module)); }));
        row("a folder", replacedBy([](const QString& module) { QVERIFY(QDir().mkdir(module)); }));
        row("a FIFO", replacedBy([](const QString& module) {
                QCOMPARE(::mkfifo(QFile::encodeName(module).constData(), 0666), 0);
            }));
    }

    // The reason is in Qt's words, which are not the same everywhere.
    void faultyModuleIsRefused()
    {
        QFETCH(Change, change);
        change(copy->module());
        const ProgramRun run = runWithDisplay({"-l"});
        const QRegularExpression reason("^tavrin_update: (the window cannot be loaded \\(.+\\));");
        const QString given = reason.match(QString::fromUtf8(run.errors)).captured(1);
        compareRun(run, 1, {}, noWindow(given.toUtf8()));
    }

    void moduleElsewhereIsNotLoaded_data()
    {
        const Rows<QString, QString> row("place", "variable");
        const QString name = QFileInfo(modulePath()).fileName();
        const QString place = "lib/tavrin_update/" + name;
        row("working directory", "work/" + name, {});
        row("below the working directory", "work/" + place, {});
        row("beside the working directory", place, {});
        row("where libraries are searched", name, "LD_LIBRARY_PATH");
        row("where Qt's plug-ins are searched", name, "QT_PLUGIN_PATH");
        row("in a folder there", place, "QT_PLUGIN_PATH");
    }

    void moduleElsewhereIsNotLoaded()
    {
        QFETCH(QString, place);
        QFETCH(QString, variable);
        const QDir elsewhere(folder->filePath("elsewhere"));
        QVERIFY(elsewhere.mkpath("work"));
        QVERIFY(elsewhere.mkpath(QFileInfo(place).path()));
        QVERIFY(QFile::rename(copy->module(), elsewhere.filePath(place)));
        release->program.workingDirectory(elsewhere.filePath("work"));
        if (!variable.isEmpty()) {
            release->program.set(variable, elsewhere.path());
        }
        compareRun(runWithDisplay({"-l"}), 1, {}, noWindow());
    }

    void linkedProgramLoadsTheModuleBesideTheRealOne_data()
    {
        const Rows<Change> row("change");
        row("no module beside the link", [](const QString& module) { QVERIFY(QFile::remove(module)); });
        row("an empty one", truncatedTo([](qint64) { return 0; }));
    }

    void linkedProgramLoadsTheModuleBesideTheRealOne()
    {
        QFETCH(Change, change);
        change(runThroughLink().module());
        compareRun(runWithDisplay({"-l"}), 0, reportOf("5.9", patchesOf(1)));
    }

    void moduleBesideALinkToTheProgramIsNotLoaded()
    {
        runThroughLink();
        QVERIFY(QFile::remove(copy->module()));
        compareRun(runWithDisplay({"-l"}), 1, {}, noWindow());
    }

private:
    static const int PATIENCE = 60000;

    void setUp() override
    {
        folder = std::make_unique<QTemporaryDir>();
        copy = std::make_unique<ProgramCopy>(folder->filePath("program"));
        release = std::make_unique<InstallableRelease>(pageOf(1));
        release->program.invokedAs(copy->program()).offscreen();
    }

    void tearDown() override
    {
        release.reset();
        copy.reset();
        folder.reset();
    }

    // Without -t even a run that only lists needs a display.
    ProgramRun runWithDisplay(const QStringList& options)
    {
        return release->program.run(options + QStringList{release->source.url()});
    }

    // Makes another copy in which the program is a link to the one to run, and has it started through that.
    ProgramCopy runThroughLink()
    {
        ProgramCopy linked(folder->filePath("linked"));
        const bool isLinked = QFile::remove(linked.program()) && QFile::link(copy->program(), linked.program());
        if (!isLinked) {
            qFatal("cannot make a link to the program");
        }
        release->program.invokedAs(linked.program());
        return linked;
    }

    std::unique_ptr<QTemporaryDir> folder;
    std::unique_ptr<ProgramCopy> copy; // of the program that is run
    std::unique_ptr<InstallableRelease> release;
};

TAVRIN_TEST_MAIN(TstWindowModule)
#include "tst_window_module.moc"
