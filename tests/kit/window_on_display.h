// The window of a started program on a display of its own, and a user in front of it. How far the program got shows in
// its calls for the running systems: one at the start, one when it has filled its list, and one every second from then
// on.
#pragma once

#include "expected_texts.h"
#include "program_run.h"
#include "virtual_display.h"

#include <QPoint>
#include <QString>
#include <QStringList>

#include <memory>

/** A display, and the program's window on it once that is open. What does not come in time fails the running test. */
class WindowOnDisplay
{
public:
    /** Milliseconds for a condition; enough for a machine that does something else besides. */
    static constexpr int PATIENCE = 60000;

    // Places in the window; a negative coordinate counts from the right or the lower edge.
    static constexpr QPoint APPLY_BUTTON{60, -22};
    static constexpr QPoint DONE_BUTTON{-50, -22};

    /** Has the program use the display; it must outlive this object. */
    explicit WindowOnDisplay(Program& programToShow);

    /** Waits for the window of the started program. */
    void open(std::unique_ptr<ProgramSession> started, const QString& title = WINDOW_TITLE);

    /** Waits until the window has filled its list. */
    void waitForList() const;

    /** Waits until the window has gone on working for a while, so that what was pressed before has had its effect. */
    void waitForRefresh() const;

    /** The only other window on the screen, once there is one; empty after a while without. */
    QString waitForOtherWindow();

    /** A picture of the applied marks of a short list, and of nothing else. */
    QByteArray marks() const;

    /** Whether the marks of a list are on the screen; their place is blank without one. */
    bool marksAreDrawn() const;
    void waitForMarks() const;

    /** The marks, once everything that was to be drawn has been. */
    QByteArray finalMarks() const;

    /** Presses keys in the window. */
    void press(const QStringList& keys);

    /** Clicks into the window. */
    void click(QPoint place);

    /** Compares the windows on the screen with this one. */
    void compareOnlyWindow();

    /** Closes another window with a key, and waits until only the program's is left. */
    void closeOther(const QString& other, const QString& key);

    /** Ends the program with Ctrl+Q and compares what it left. */
    void quit();

    /** Waits for the end of the program, which has to be a good one without a word. */
    void compareEnd() const;

    VirtualDisplay display;
    std::unique_ptr<ProgramSession> session;
    QString window;

private:
    QString theOtherWindow();

    Program& program;
};
