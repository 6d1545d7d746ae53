// The base of the tests that use the window from outside: an installation, a patch server, and the built program on a
// display of its own. Keys and mouse are used as by a user; the tests compare the screen, the requests to the server
// and the installation's files.
#pragma once

#include "fake_installation.h"
#include "fake_patch_server.h"
#include "patch_source.h"
#include "test.h"
#include "test_files.h"
#include "window_on_display.h"

#include <QRegularExpression>

/** Makes all of it for each test function. */
class ShownWindowTest : public Test
{
    Q_OBJECT

protected:
    using Answer = FakePatchServer::Answer;
    using Paths = QList<QByteArray>;

    static constexpr int PATIENCE = WindowOnDisplay::PATIENCE;
    static constexpr QPoint APPLY_BUTTON = WindowOnDisplay::APPLY_BUTTON;
    static constexpr QPoint DONE_BUTTON = WindowOnDisplay::DONE_BUTTON;

    void setUp() override
    {
        installation = std::make_unique<FakeInstallation>();
        installation->withTools();
        treeBefore = installation->tree();
        server = std::make_unique<FakePatchServer>();
        program = std::make_unique<Program>();
        program->tavrin(installation->path());
        screen = std::make_unique<WindowOnDisplay>(*program);
    }

    void tearDown() override
    {
        screen.reset();
        program.reset();
        server.reset();
        installation.reset();
    }

    /** An archive with a file and the mark of the patch. */
    Answer archiveFor(const QString& name) const
    {
        const QByteArray mark = archiveOf(installation->path("patched/" + name), {});
        const int endOfArchive = 1024;
        return Answer::body(mark.chopped(endOfArchive) +
                            archiveOf(installation->path("lib/" + name), "new with " + name.toUtf8()));
    }

    /** Puts the list and an archive for each patch on the server. */
    void offer(const QStringList& names)
    {
        server->answer("/", Answer::body(pageOf(names).html()));
        for (const QString& name : names) {
            server->answer('/' + name.toUtf8() + ".tar", archiveFor(name));
        }
    }

    /** Starts the program over the server and waits for its window. */
    void open(const QString& title = WINDOW_TITLE)
    {
        screen->open(program->start({server->url()}), title);
    }

    /** The same, and waits for the list. */
    void openList()
    {
        open();
        screen->waitForList();
    }

    /** Compares the names of new entries in the installation; any other change is a difference, too. */
    void compareNewEntries(const QStringList& expected) const
    {
        QStringList added = installation->tree();
        for (const QString& line : treeBefore) {
            QVERIFY2(added.removeOne(line), qPrintable("no longer there: " + line));
        }
        added.replaceInStrings(QRegularExpression("^.* "), "").sort();
        QCOMPARE(added, expected);
    }

    std::unique_ptr<FakeInstallation> installation;
    QStringList treeBefore; // the installation's, before the program starts
    std::unique_ptr<FakePatchServer> server;
    std::unique_ptr<Program> program;
    std::unique_ptr<WindowOnDisplay> screen;

private slots:
    void initTestCase()
    {
        const QString missing = VirtualDisplay::missing();
        if (!missing.isEmpty()) {
            QSKIP(qPrintable(missing));
        }
    }
};
