// The conditions that a test of the window waits for.
#include "window_on_display.h"

#include <QTest>

WindowOnDisplay::WindowOnDisplay(Program& programToShow) : program(programToShow)
{
    program.set("DISPLAY", display.name()).set("QT_QPA_PLATFORM", "xcb");
}

void WindowOnDisplay::open(std::unique_ptr<ProgramSession> started, const QString& title)
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

void WindowOnDisplay::waitForList() const
{
    QTRY_VERIFY_WITH_TIMEOUT(program.runningSystemQueries() >= 2, PATIENCE);
}

void WindowOnDisplay::waitForRefresh() const
{
    const int before = program.runningSystemQueries();
    QTRY_VERIFY_WITH_TIMEOUT(program.runningSystemQueries() >= before + 2, PATIENCE);
}

QString WindowOnDisplay::theOtherWindow()
{
    QStringList others = display.windows();
    others.removeAll(window);
    return others.size() == 1 ? others.first() : QString();
}

QString WindowOnDisplay::waitForOtherWindow()
{
    QString other;
    [&] {
        QTRY_VERIFY_WITH_TIMEOUT(!(other = theOtherWindow()).isEmpty(), PATIENCE);
    }();
    return other;
}

QByteArray WindowOnDisplay::marks() const
{
    return display.picture(QRect(107, 265, 60, 110));
}

bool WindowOnDisplay::marksAreDrawn() const
{
    // Without a window, too, the screen is of one colour.
    const QByteArray picture = marks();
    return picture != picture.left(4).repeated(picture.size() / 4);
}

void WindowOnDisplay::waitForMarks() const
{
    QTRY_VERIFY_WITH_TIMEOUT(marksAreDrawn(), PATIENCE);
}

QByteArray WindowOnDisplay::finalMarks() const
{
    waitForMarks();
    waitForRefresh();
    return marks();
}

void WindowOnDisplay::press(const QStringList& keys)
{
    display.press(window, keys);
}

void WindowOnDisplay::click(QPoint place)
{
    display.click(window, place);
}

void WindowOnDisplay::compareOnlyWindow()
{
    QCOMPARE(display.windows(), QStringList{window});
}

void WindowOnDisplay::closeOther(const QString& other, const QString& key)
{
    display.press(other, {key});
    QTRY_COMPARE_WITH_TIMEOUT(display.windows(), QStringList{window}, PATIENCE);
}

void WindowOnDisplay::quit()
{
    press({"ctrl+q"});
    compareEnd();
}

void WindowOnDisplay::compareEnd() const
{
    compareRun(session->finish(), 0, QByteArray());
}
