// The terminal dialogue's outlets in window mode, where texts go to the progress log and nothing is asked. What they
// print in a terminal is seen from outside, by the end-to-end tests.
#include "message_guard.h"
#include "test_main.h"
#include "window_logic.h"

#include <QTest>

#include <memory>

class TstDialogue : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void oneLineBreakAtTheEndIsLeftOut_data();
    void oneLineBreakAtTheEndIsLeftOut();
    void windowIsNotAsked();
    void restartNoticeGoesToTheLog();

private:
    std::unique_ptr<MessageGuard> guard;
};

void TstDialogue::init()
{
    guard = std::make_unique<MessageGuard>();
}

void TstDialogue::cleanup()
{
    const QString complaint = guard->complaint();
    guard.reset();
    QCOMPARE(complaint, QString());
}

void TstDialogue::oneLineBreakAtTheEndIsLeftOut_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("shown");

    QTest::newRow("a line") << "Done\n"
                            << "Done";
    QTest::newRow("no line break") << "Done"
                                   << "Done";
    QTest::newRow("two line breaks") << "a\n\n"
                                     << "a\n";
    QTest::newRow("line breaks elsewhere") << "\na\nb"
                                           << "\na\nb";
    QTest::newRow("a blank behind it") << "a\n "
                                       << "a\n ";
    QTest::newRow("a carriage return before it") << "a\r\n"
                                                 << "a\r";
    QTest::newRow("a line break alone") << "\n"
                                        << "";
    QTest::newRow("nothing") << ""
                             << "";
}

void TstDialogue::oneLineBreakAtTheEndIsLeftOut()
{
    QFETCH(QString, text);
    QFETCH(QString, shown);
    const WindowLogic window;
    window.logic.presentText(text);
    QCOMPARE(window.events, QStringList{"log:" + shown});
}

void TstDialogue::windowIsNotAsked()
{
    const WindowLogic window;
    window.logic.allowUserToCancel("Do you wish to go on?");
    QCOMPARE(window.events, QStringList());
}

void TstDialogue::restartNoticeGoesToTheLog()
{
    const WindowLogic window;
    window.logic.informStartTavrin();
    QCOMPARE(window.events, QStringList{"log:\nYou may restart systems now"});
}

TAVRIN_TEST_MAIN(TstDialogue)

#include "tst_dialogue.moc"
