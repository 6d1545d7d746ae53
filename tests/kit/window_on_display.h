// The window of a started program on its own display, and a user in front of it. The number of queries for the running
// systems shows how far the program is: one at the start, one when it has filled its list, and then one every second.
#pragma once

#include "expected_texts.h"
#include "program_run.h"
#include "virtual_display.h"

#include <QPoint>
#include <QString>
#include <QStringList>
#include <QTest>

#include <memory>

/** A display, and the program's window on it once that is open. A wait that takes too long fails the running test. */
class WindowOnDisplay
{
public:
    /** Milliseconds to wait for a condition; enough for a busy machine. */
    static constexpr int PATIENCE = 60000;

    // Places in the window; a negative coordinate counts from the right or the lower edge.
    static constexpr QPoint APPLY_BUTTON{60, -22};
    static constexpr QPoint DONE_BUTTON{-50, -22};

    /** Has the program use the display; it must outlive this object. */
    explicit WindowOnDisplay(Program& programToShow) : program(programToShow)
    {
        program.set("DISPLAY", display.name()).set("QT_QPA_PLATFORM", "xcb");
    }

    /** Waits for the window of the started program. */
    void open(std::unique_ptr<ProgramSession> started, const QString& title = WINDOW_TITLE)
    {
        session = std::move(started);
        const QString pattern = '^' + QString(title).replace('.', "\\.") + '$';
        QTRY_VERIFY_WITH_TIMEOUT(!display.windows(pattern).isEmpty() || !session->isRunning(), PATIENCE);
        if (!session->isRunning()) {
            QFAIL("the program ended instead of opening its window; " + describe(session->finish()));
        }
        window = display.windows(pattern).value(0);
        QVERIFY(!window.isEmpty());
        compareOnlyWindow();
    }

    /** Waits until the window has filled its list. */
    void waitForList() const
    {
        QTRY_VERIFY_WITH_TIMEOUT(program.runningSystemQueries() >= 2, PATIENCE);
    }

    /** Waits until the window has worked for another second or two, so that earlier input has had its effect. */
    void waitForRefresh() const
    {
        const int before = program.runningSystemQueries();
        QTRY_VERIFY_WITH_TIMEOUT(program.runningSystemQueries() >= before + 2, PATIENCE);
    }

    /** The only other window on the screen, once there is one; empty after a while without. */
    QString waitForOtherWindow()
    {
        QString other;
        [&] {
            QTRY_VERIFY_WITH_TIMEOUT(!(other = theOtherWindow()).isEmpty(), PATIENCE);
        }();
        return other;
    }

    /** A picture of the applied marks of a short list, and of nothing else. */
    QByteArray marks() const
    {
        return display.picture(QRect(107, 265, 60, 110));
    }

    /** Whether the marks of a list are on the screen; their place is blank without one. */
    bool marksAreDrawn() const
    {
        // The screen has only one colour without a window, too.
        const QByteArray picture = marks();
        return picture != picture.left(4).repeated(picture.size() / 4);
    }

    void waitForMarks() const
    {
        QTRY_VERIFY_WITH_TIMEOUT(marksAreDrawn(), PATIENCE);
    }

    /** The marks, once everything is drawn. */
    QByteArray finalMarks() const
    {
        waitForMarks();
        waitForRefresh();
        return marks();
    }

    /** Presses keys in the window. */
    void press(const QStringList& keys)
    {
        display.press(window, keys);
    }

    /** Clicks into the window. */
    void click(QPoint place)
    {
        display.click(window, place);
    }

    /** Compares the windows on the screen with this one. */
    void compareOnlyWindow()
    {
        QCOMPARE(display.windows(), QStringList{window});
    }

    /** Closes another window with a key, and waits until only the program's is left. */
    void closeOther(const QString& other, const QString& key)
    {
        display.press(other, {key});
        QTRY_COMPARE_WITH_TIMEOUT(display.windows(), QStringList{window}, PATIENCE);
    }

    /** Ends the program with Ctrl+Q and compares what it left. */
    void quit()
    {
        press({"ctrl+q"});
        compareEnd();
    }

    /** Waits for the end of the program and compares: status 0, and nothing printed. */
    void compareEnd() const
    {
        compareRun(session->finish(), 0, QByteArray());
    }

    VirtualDisplay display;
    std::unique_ptr<ProgramSession> session;
    QString window;

private:
    QString theOtherWindow()
    {
        QStringList others = display.windows();
        others.removeAll(window);
        return others.size() == 1 ? others.first() : QString();
    }

    Program& program;
};
