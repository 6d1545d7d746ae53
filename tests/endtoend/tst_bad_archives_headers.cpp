// Archives whose headers say odd things: sizes that are false or no numbers, extended headers with broken records, and
// names that are long, empty or no text. The archive tool stops, skips or repairs; the run passes its message on.
#include "bad_archives.h"
#include "expected_texts.h"
#include "test.h"

class TstBadArchivesHeaders : public Test
{
    Q_OBJECT

private slots:
    void headersAreReadAsFarAsTheyCan_data()
    {
        const Rows<int, QByteArray, QStringList, bool> row("status", "said", "changes", "isCounted");
        row("size beyond the archive", 1, "Truncated tar archive", {"lib/one.txt: 8589934591 bytes"}, false);
        row("size with letters", 1, "Unrecognized archive format", {}, false);
        row("size empty", 0, {}, {"lib/one.txt: ", MARK}, true);
        row("size below zero", 1, "Tar entry has negative size", {}, false);
        row("size in base 256", 0, {}, {TEXT, MARK}, true);
        row("size in base 256 beyond all", 1, "Tar entry size overflow", {}, false);
        row("folder with a size", 0, "Damaged tar archive", {"lib/sized/ (644)", MARK}, true);
        row("link with a size", 0, "Damaged tar archive", {"lib/sized -> old.txt", MARK}, true);
        row("file with holes", 0, {}, {"lib/holes: 1048579 bytes, 82a8da41", MARK}, true);
        row("extended name", 0, {}, {TEXT, MARK}, true);
        row("extended size", 0, {}, {"lib/one.txt: te", MARK}, true);
        row("extended size beyond the archive", 1, "Truncated tar archive", {"lib/one.txt: 999999999999999999 bytes"},
            false);
        row("extended size below zero", 1, "Tar size attribute is negative", {}, false);
        row("extended record with a wrong length", 1, "Ignoring malformed pax extended attribute", {TEXT, MARK}, true);
        row("extended record without a length", 1, "Ignoring malformed pax extended attributes", {TEXT, MARK}, true);
        row("extended record without its end", 1, "Ignoring malformed pax extended attribute", {TEXT, MARK}, true);
        row("extended name empty", 0, {}, {TEXT, MARK}, true);
        row("extended name with NUL", 0, {}, {"lib/one: text", MARK}, true);
        row("extended name not in UTF-8", 1, "Pathname can't be converted from UTF-8", {"lib/\\xff: text", MARK}, true);
        row("extended time without a number", 0, {}, {TEXT, MARK}, true);
        row("extended header of a megabyte", 1, "Special header too large", {}, false);
        row("extended header alone", 1, "Damaged tar archive", {MARK}, true);
        row("global header for all", 0, {}, {TEXT, MARK}, true);
        row("long name", 0, {}, {"lib/" + QString("n").repeated(255) + ": text", MARK}, true);
        row("long name too long", 1, "File name too long", {MARK}, true);
        row("long name of a megabyte", 1, "Special header too large", {}, false);
        row("long name alone", 1, "Damaged tar archive", {MARK}, true);
        row("two long names", 0, {}, {"lib/second: text", MARK}, true);
        row("long target of a link", 0, {}, {"lib/long -> " + QString("t").repeated(150), MARK}, true);
        row("name in two parts", 0, {}, {TEXT, MARK}, true);
        row("name with a line break", 0, {}, {"lib/one\\x0atwo.txt: text", MARK}, true);
        row("name with escape sequences", 0, {}, {"lib/\\x1b[31mred\\x07: text", MARK}, true);
        row("name not in UTF-8", 0, {}, {"lib/caf\\xe9: text", MARK}, true);
        row("name in UTF-8", 0, {}, {"lib/caf\\xc3\\xa9: text", MARK}, true);
        row("name with a backslash", 0, {}, {"lib\\one.txt: text", MARK}, true);
        row("name empty", 1, "empty or unreadable filename", {MARK}, true);
        row("header of the old kind", 0, {}, {TEXT, MARK}, true);
    }

    void headersAreReadAsFarAsTheyCan()
    {
        QFETCH(int, status);
        QFETCH(QByteArray, said);
        QFETCH(QStringList, changes);
        QFETCH(bool, isCounted);
        compareBadArchive(badArchive(QTest::currentDataTag()), {"P1.tar", "P1.tar", status, said, changes, isCounted});
    }
};

TAVRIN_TEST_MAIN(TstBadArchivesHeaders)
#include "tst_bad_archives_headers.moc"
