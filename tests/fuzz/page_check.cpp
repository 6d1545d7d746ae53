// The sizes of the pieces follow from the page itself, so that an input always has the same result. QXmlStreamReader
// has two limits there, which do not matter for a finished reply, since that always gives as much as is asked for. It
// finds the encoding in the first four bytes and takes a device that first gives fewer for one at its end. And it drops
// the whole block that it has read when one byte in it is no text, so what comes before that byte depends on the
// blocks.
#include "page_check.h"

#include "fuzz_target.h"
#include "page_reply.h"
#include "tavrin_update_bl.h"

#include <QHash>

#include <random>

namespace {

using Logic = TavrinUpdateBusinessLogic;

const QString BLANK = QStringLiteral(" ");

/** A reply that gives its body in pieces. */
class PieceReply : public PageReply
{
public:
    PieceReply(const QByteArray& body, const QString& address)
        : PageReply(body, address), sizes(qHash(body)), longestPiece(1 << (1 + sizes() % 14))
    {
    }

protected:
    qint64 readData(char* data, qint64 maxSize) override
    {
        const qint64 piece = 1 + static_cast<qint64>(sizes() % longestPiece);
        const qint64 size = isFirst ? qMax<qint64>(4, piece) : piece;
        isFirst = false;
        return PageReply::readData(data, qMin(maxSize, size));
    }

private:
    std::minstd_rand sizes;
    std::minstd_rand::result_type longestPiece;
    bool isFirst = true;
};

/** A business logic in window mode. Without an installation it stops at its first check, which is far enough. */
struct ParsingLogic : Logic
{
    ParsingLogic() : Logic(QStringLiteral("tavrin_update"))
    {
        CommandLineOptions windowOptions;
        windowOptions.showProposed = false;
        windowOptions.terminal = false;
        compare(initialize(windowOptions), QStringLiteral("\nTAVRIN environment variable is not set.\n"),
                "initialize()");
    }
};

void checkCursorOutsideWalk(const Logic& logic)
{
    compare(logic.getPatchName(), BLANK, "the name outside a walk");
    compare(logic.getPatchDate(), BLANK, "the date outside a walk");
    compare(logic.getTarFileName(), BLANK, "the archive outside a walk");
    compare(logic.getPatchDescription(), BLANK, "the description outside a walk");
    require(!logic.patchIsInstalled(), "no patch is installed outside a walk");
}

// Walks over the records, each of which has to be not applied before `marking` and is left applied when `marking`.
QStringList walk(Logic& logic, bool expectApplied, bool marking)
{
    checkCursorOutsideWalk(logic);
    QStringList lines;
    while (logic.nextPatch()) {
        require(logic.patchIsInstalled() == expectApplied, "the flag is as the walk before left it");
        if (marking) {
            logic.setPatchApplied(true);
            require(logic.patchIsInstalled(), "a patch that was marked is applied");
        }
        lines << PageRecord{logic.getPatchName(), logic.getPatchDate(), logic.getTarFileName(),
                            logic.getPatchDescription()}
                     .line();
        require(lines.count() <= logic.getPatchCount(), "a walk ends");
    }
    checkCursorOutsideWalk(logic);
    compare(lines.count(), logic.getPatchCount(), "the number of records in a walk");
    return lines;
}

void checkRecords(const QList<PageRecord>& records)
{
    for (const PageRecord& record : records) {
        require(!record.name.isEmpty() && !record.name.contains(QLatin1Char(' ')), "a name is one word");
        require(!record.archive.isEmpty(), "a record has an archive");
        require(!record.description.isEmpty(), "a record has a description");
        compare(record.description.trimmed(), record.description, "a description");
    }
}

// Reading a page once, or once more behind the records of the first time.
void checkAtOnce(const QByteArray& page, const QString& address, const PageReading& expected)
{
    ParsingLogic logic;
    QStringList lines;
    for (int time = 0; time < 2; ++time) {
        PageReply reply(page, address);
        compare(logic.parsePatchList(&reply), expected.failure, "the failure");
        lines += expected.lines();
        compare(walk(logic, false, false), lines, "the records");
    }
    compare(walk(logic, false, true), lines, "the records while they are marked");
    compare(walk(logic, true, false), lines, "the marked records");
    require(!logic.updatesNeeded(), "nothing is counted while a page is read");
}

void checkInPieces(const QByteArray& page, const QString& address, const PageReading& expected)
{
    ParsingLogic logic;
    PieceReply reply(page, address);
    const QString failure = logic.parsePatchList(&reply);
    // Where Qt notices a fault depends on the pieces, and it takes a byte order mark out where a piece begins with it.
    if (!expected.failure.isEmpty() || page.mid(1).contains(QByteArrayLiteral("\xEF\xBB\xBF"))) {
        return;
    }
    compare(failure, QString(), "the failure of a page in pieces");
    compare(walk(logic, false, false), expected.lines(), "the records of a page in pieces");
}

} // namespace

void checkPage(const QByteArray& page, const QString& address)
{
    const PageReading expected = readingOf(page, QUrl(address).toDisplayString());
    checkRecords(expected.records);
    checkAtOnce(page, address, expected);
    checkInPieces(page, address, expected);
}
