// Archives that are cut, damaged, compressed in odd ways or of another format than their name says. The archive tool
// decides on all of them. What it lets through unseen is the same in every run, so it is in the table as well: an end
// at the border of two members, the checksum of a gzip file, and headers that it skips.
#include "bad_archives.h"
#include "expected_texts.h"
#include "test.h"

class TstBadArchivesFormats : public Test
{
    Q_OBJECT

private slots:
    void archiveIsUnpackedAsFarAsItCan_data()
    {
        // file, left: the archive's name before and after; said: a part of the archive tool's message
        const Rows<QString, QString, int, QByteArray, QStringList, bool> row("file", "left", "status", "said",
                                                                             "changes", "isCounted");
        row("cut in the first header", "P1.tar", "P1.tar", 1, "Unrecognized archive format", {}, false);
        row("cut after the first header", "P1.tar", "P1.tar", 1, "Truncated tar archive",
            {"lib/one.txt: 3 bytes, 29e2dcfb"}, false);
        row("cut between two members", "P1.tar", "P1.tar", 0, {}, {ONE}, false);
        row("cut in a content", "P1.tar", "P1.tar", 1, "Truncated tar archive",
            {ONE, "lib/two.txt: 3000 bytes, 0cae94dd"}, false);
        row("cut in the last header", "P1.tar", "P1.tar", 1, "Truncated tar archive", {ONE, TWO}, false);
        row("cut before the padding of the last content", "P1.tar", "P1.tar", 1, "Truncated input file",
            {ONE, TWO, MARK}, true);
        row("no end mark", "P1.tar", "P1.tar", 0, {}, {ONE, TWO, MARK}, true);
        row("half an end mark", "P1.tar", "P1.tar", 0, {}, {ONE, TWO, MARK}, true);
        row("bytes after the end mark", "P1.tar", "P1.tar", 0, {}, {ONE, TWO, MARK}, true);
        row("two archives in one file", "P1.tar", "P1.tar", 0, {}, {ONE, TWO, MARK}, true);
        row("gzip cut in its header", "P1.tar.gz", "P1.tar.gz", 1, "Unrecognized archive format", {}, false);
        row("gzip cut in its data", "P1.tar.gz", "P1.tar.gz", 1, "truncated gzip input", {}, false);
        row("gzip without its trailer", "P1.tar.gz", "P1.tar.gz", 1, "(null)", {}, false);
        row("gzip cut in its trailer", "P1.tar.gz", "P1.tar.gz", 1, "(null)", {}, false);
        row("bzip2 cut in its header", "P1.tar.bz2", "P1.tar.bz2", 1, "Unrecognized archive format", {}, false);
        row("bzip2 cut in its data", "P1.tar.bz2", "P1.tar.bz2", 1, "truncated bzip2 input", {}, false);
        row("bzip2 without its end", "P1.tar.bz2", "P1.tar.bz2", 1, "truncated bzip2 input", {}, false);
        row("compress cut in its header", "P1.tar.Z", "P1.tar.Z", 1, "Unrecognized archive format", {}, false);
        row("compress cut in its data", "P1.tar.Z", "P1.tar", 1, "Truncated tar archive",
            {ONE, "lib/two.txt: 3000 bytes, 3e8749fb"}, false);
        row("wrong checksum of the first header", "P1.tar", "P1.tar", 1, "Unrecognized archive format", {}, false);
        row("wrong checksum of a middle header", "P1.tar", "P1.tar", 0, "Damaged tar archive", {ONE, MARK}, true);
        row("wrong checksum of the last header", "P1.tar", "P1.tar", 0, "Damaged tar archive", {ONE, TWO}, false);
        row("wrong checksum of a gzip", "P1.tar.gz", "P1.tar.gz", 0, {}, {ONE, TWO, MARK}, true);
        row("wrong length of a gzip", "P1.tar.gz", "P1.tar.gz", 0, {}, {ONE, TWO, MARK}, true);
        row("wrong checksum of a bzip2 block", "P1.tar.bz2", "P1.tar.bz2", 1, "bzip decompression failed", {}, false);
        row("wrong checksum of a bzip2", "P1.tar.bz2", "P1.tar.bz2", 1, "bzip decompression failed", {}, false);
        row("random bytes", "P1.tar", "P1.tar", 1, "Unrecognized archive format", {}, false);
        row("one zero byte", "P1.tar", "P1.tar", 1, "Unrecognized archive format", {}, false);
        row("one block of zeros", "P1.tar", "P1.tar", 0, {}, {}, false);
        row("zeros", "P1.tar", "P1.tar", 0, {}, {}, false);
        row("text", "P1.tar", "P1.tar", 1, "Unrecognized archive format", {}, false);
        row("html", "P1.tar", "P1.tar", 1, "Unrecognized archive format", {}, false);
        row("xz", "P1.tar", "P1.tar", 0, {}, {ONE, TWO, MARK}, true);
        row("zip", "P1.tar", "P1.tar", 0, {}, {ONE, TWO, MARK}, true);
        row("cpio", "P1.tar", "P1.tar", 0, {}, {ONE, TWO, MARK}, true);
        row("7zip", "P1.tar", "P1.tar", 0, {}, {ONE, TWO, MARK}, true);
        row("ar", "P1.tar", "P1.tar", 0, {}, {"/opt/home/work/member.txt: text"}, false);
        row("cpio with a socket", "P1.tar", "P1.tar", 0, {}, {"lib/socket: "}, false);
        row("gzip in a gzip", "P1.tar.gz", "P1.tar", 0, {}, {ONE, TWO, MARK}, true);
        row("several gzip members", "P1.tar.gz", "P1.tar", 0, {}, {ONE, TWO, MARK}, true);
        row("second gzip member broken", "P1.tar.gz", "P1.tar.gz", 0, {}, {ONE, TWO, MARK}, true);
        row("garbage after a gzip", "P1.tar.gz", "P1.tar", 0, {}, {ONE, TWO, MARK}, true);
        row("zeros after a gzip", "P1.tar.gz", "P1.tar", 0, {}, {ONE, TWO, MARK}, true);
        row("gzip with a name", "P1.tar.gz", "P1.tar", 0, {}, {ONE, TWO, MARK}, true);
        row("gzip with a comment", "P1.tar.gz", "P1.tar", 0, {}, {ONE, TWO, MARK}, true);
        row("gzip with an extra field", "P1.tar.gz", "P1.tar", 0, {}, {ONE, TWO, MARK}, true);
        row("gzip with unknown flags", "P1.tar.gz", "P1.tar.gz", 1, "Unrecognized archive format", {}, false);
        row("gzip of nothing", "P1.tar.gz", "P1.tar", 0, {}, {}, false);
        row("gzip of zeros", "P1.tar.gz", "P1.tar", 0, {}, {}, false);
        row("gzip with a huge member", "P1.tar.gz", "P1.tar", 0, {}, {"lib/zeros: 67108864 bytes, 44fac4be", MARK},
            true);
    }

    void archiveIsUnpackedAsFarAsItCan()
    {
        QFETCH(QString, file);
        QFETCH(QString, left);
        QFETCH(int, status);
        QFETCH(QByteArray, said);
        QFETCH(QStringList, changes);
        QFETCH(bool, isCounted);
        compareBadArchive(badArchive(QTest::currentDataTag()), {file, left, status, said, changes, isCounted});
    }
};

TAVRIN_TEST_MAIN(TstBadArchivesFormats)
#include "tst_bad_archives_formats.moc"
