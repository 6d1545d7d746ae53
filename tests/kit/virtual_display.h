// An X server for one test, without a screen, and a user in front of it: xdotool finds windows and presses keys and the
// mouse, and pictures are read from the server's memory. There is no window manager, so a window chooses its own place,
// keys are sent to a window by name, and the request to close a window is sent from here.
#pragma once

#include "program_run.h"

#include <QByteArray>
#include <QPoint>
#include <QProcess>
#include <QRect>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>

/** A display from construction to destruction. A failing xdotool fails the running test. */
class VirtualDisplay
{
public:
    VirtualDisplay();
    ~VirtualDisplay();
    VirtualDisplay(const VirtualDisplay&) = delete;
    VirtualDisplay& operator=(const VirtualDisplay&) = delete;

    /** What this machine lacks for such a display; empty when nothing. */
    static QString missing();

    /** The value of DISPLAY. */
    QString name() const;

    /** The top-level windows on the screen, popup menus included, whose title matches the regular expression. */
    QStringList windows(const QString& title = QStringLiteral(".*"));

    QRect geometryOf(const QString& window);

    /** Gives a window the keyboard and presses keys one after the other, as "ctrl+q" or "Tab". */
    void press(const QString& window, const QStringList& keys);

    /** Clicks into a window; a negative coordinate counts from its right or lower edge. */
    void click(const QString& window, QPoint place);

    /** Asks a window to close, as a window manager does when the cross in its frame is pressed. */
    void close(const QString& window);

    /** The pixels of a part of the screen, to compare with others. */
    QByteArray picture(const QRect& part) const;

private:
    QByteArray act(const QStringList& arguments);
    ProgramRun xdotool(const QStringList& arguments);

    QTemporaryDir memory;
    std::unique_ptr<QProcess> server;
    QString displayName;
    QString rootWindow;
    bool madeSocketFolder;
};
