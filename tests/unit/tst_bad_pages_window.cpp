// Every page of the corpus in window mode: the signals, the records that the window shows, and the entries before a
// failure, which stay in the list. Each page is also cut at every byte, and read again after a good one.
#include "bad_pages.h"
#include "page_reply.h"
#include "test.h"
#include "window_logic.h"

namespace {

const QString ADDRESS = QStringLiteral("http://host.test/5.9/");

QStringList recordsOf(WindowLogic& window)
{
    QStringList records;
    TavrinUpdateBusinessLogic& logic = window.logic;
    while (logic.nextPatch()) {
        records << QStringList{logic.getPatchName(), logic.getPatchDate(), logic.getTarFileName(),
                               logic.getPatchDescription()}
                       .join('|');
    }
    return records;
}

PageReply* replyOf(const QByteArray& bytes)
{
    return new PageReply(bytes, ADDRESS); // the logic deletes it later
}

} // namespace

class TstBadPagesWindow : public Test
{
    Q_OBJECT

private slots:
    void pageIsShownOrReported_data()
    {
        const Rows<int> row("number");
        const QList<BadPage> pages = badPages() + hugePages();
        for (int i = 0; i < pages.size(); ++i) {
            row(pages.at(i).phrase, i);
        }
    }

    void pageIsShownOrReported()
    {
        QFETCH(int, number);
        static const QList<BadPage> pages = badPages() + hugePages();
        const BadPage& page = pages.at(number);
        WindowLogic window;
        const QStringList before = window.installation.tree();
        window.receivePage(replyOf(page.bytes));
        const QString failure = QString(page.failure).replace("%1", ADDRESS);
        QCOMPARE(window.events, QStringList{page.failure.isEmpty() ? QString("ready") : "fail:" + failure});
        QCOMPARE(recordsOf(window), page.records);
        QCOMPARE(window.logic.getPatchCount(), page.records.size());
        QCOMPARE(window.logic.updatesNeeded(), page.failure.isEmpty() && !page.records.isEmpty());
        QCOMPARE(window.installation.tree(), before);
    }

    // Wherever a page ends too early: no failure is missed, and only whole entries are kept.
    void pageCutAnywhereIsReported()
    {
        const QByteArray page = PAGE_BEGIN + FIRST + SECOND + PAGE_END;
        const int marker = page.indexOf("-->") + 3;
        const int lastByte = page.lastIndexOf('>');
        const int firstEnd = page.indexOf("</blockquote>");
        const int secondEnd = page.lastIndexOf("</blockquote>");
        for (int length = 0; length <= lastByte; ++length) {
            TavrinUpdateBusinessLogic logic("tavrin_update");
            PageReply reply(page.left(length), ADDRESS);
            const QString reason = QStringLiteral("Premature end of document.");
            const QString expected = length < marker ? noList(reason).replace("%1", ADDRESS) : reason;
            QVERIFY2(logic.parsePatchList(&reply) == expected, page.left(length));
            const int complete = (length > firstEnd ? 1 : 0) + (length > secondEnd ? 1 : 0);
            QVERIFY2(logic.getPatchCount() == complete, page.left(length));
        }
    }
};

TAVRIN_TEST_MAIN(TstBadPagesWindow)
#include "tst_bad_pages_window.moc"
