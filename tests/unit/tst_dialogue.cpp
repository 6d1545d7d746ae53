// The terminal dialogue's outlets in window mode, where texts go to the progress log and nothing is asked. What they
// print in a terminal is seen from outside, by the end-to-end tests.
#include "test.h"
#include "window_logic.h"

class TstDialogue : public Test
{
    Q_OBJECT

private slots:
    void oneLineBreakAtTheEndIsLeftOut_data()
    {
        const Rows<QString, QString> row("text", "shown");

        row("a line", "Done\n", "Done");
        row("no line break", "Done", "Done");
        row("two line breaks", "a\n\n", "a\n");
        row("line breaks elsewhere", "\na\nb", "\na\nb");
        row("a blank behind it", "a\n ", "a\n ");
        row("a carriage return before it", "a\r\n", "a\r");
        row("a line break alone", "\n", "");
        row("nothing", "", "");
    }

    void oneLineBreakAtTheEndIsLeftOut()
    {
        QFETCH(QString, text);
        QFETCH(QString, shown);
        const WindowLogic window;
        window.logic.presentText(text);
        QCOMPARE(window.events, QStringList{"log:" + shown});
    }

    void windowIsNotAsked()
    {
        const WindowLogic window;
        window.logic.allowUserToCancel("Do you wish to go on?");
        QCOMPARE(window.events, QStringList());
    }

    void restartNoticeGoesToTheLog()
    {
        const WindowLogic window;
        window.logic.informStartTavrin();
        QCOMPARE(window.events, QStringList{"log:\nYou may restart systems now"});
    }
};

TAVRIN_TEST_MAIN(TstDialogue)

#include "tst_dialogue.moc"
