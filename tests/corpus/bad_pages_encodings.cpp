// The reader finds out the encoding from the first bytes and the XML declaration. Bytes that do not fit end the page
// where they are met; it may have been read further by then.
#include "bad_pages.h"

#include <QTextCodec>

namespace {

QByteArray encoded(const QByteArray& page, const char* codec, QTextCodec::ConversionFlags flags)
{
    QTextCodec::ConverterState state(flags);
    const QString text = QString::fromUtf8(page);
    return QTextCodec::codecForName(codec)->fromUnicode(text.constData(), text.size(), &state);
}

} // namespace

QList<BadPage> pagesInOddEncodings()
{
    const QByteArray plain = PAGE_BEGIN + FIRST + SECOND + PAGE_END;
    const QByteArray accented = PAGE_BEGIN + entryOf("P1 1 May", "a.tar", "caf\xc3\xa9") + PAGE_END;
    const QStringList both{FIRST_RECORD, SECOND_RECORD};
    const QStringList cafe{QString::fromUtf8("P1| 1 May|a.tar|caf\xc3\xa9")};
    const auto described = [](const QByteArray& bytes) {
        return PAGE_BEGIN + FIRST + entryOf("P2 2 May", "b.tar", bytes) + PAGE_END;
    };
    const auto declared = [](const QByteArray& declaration, const QByteArray& page) {
        return "<?xml " + declaration + "?>\n" + page;
    };
    const QString incorrect = QStringLiteral("Encountered incorrectly encoded content.");
    const auto withMark = QTextCodec::DefaultConversion;
    const auto withoutMark = QTextCodec::IgnoreHeader;
    return {
        {"UTF-8 with a byte order mark", "\xef\xbb\xbf" + plain, both, {}},
        {"UTF-16, little end first, with a mark", encoded(accented, "UTF-16LE", withMark), cafe, {}},
        {"UTF-16, big end first, with a mark", encoded(accented, "UTF-16BE", withMark), cafe, {}},
        {"UTF-16, little end first, without a mark", encoded(accented, "UTF-16LE", withoutMark), cafe, {}},
        {"UTF-16, big end first, without a mark", encoded(accented, "UTF-16BE", withoutMark), cafe, {}},
        {"UTF-32 with a mark", encoded(accented, "UTF-32LE", withMark), cafe, {}},
        {"UTF-16 cut in a character", encoded(plain, "UTF-16LE", withoutMark).chopped(1), both, {}},
        {"UTF-16 with two marks", encoded("\xef\xbb\xbf" + plain, "UTF-16LE", withMark), both, {}},
        {"mark alone", "\xef\xbb\xbf", {}, noList("Premature end of document.")},
        {"mark within the text",
         described("\xef\xbb\xbfx"),
         {FIRST_RECORD, QString::fromUtf8("P2| 2 May|b.tar|\357\273\277x")},
         {}},
        {"Latin-1 without a declaration", described("caf\xe9"), {}, noList("Encountered incorrectly encoded content.")},
        {"Latin-1 before the marker", "<p>caf\xe9</p>" + plain, {}, noList(incorrect)},
        {"Latin-1 with its declaration",
         declared("version='1.0' encoding='ISO-8859-1'", encoded(accented, "ISO-8859-1", withoutMark)),
         cafe,
         {}},
        {"UTF-8 declared as Latin-1",
         declared("version='1.0' encoding='ISO-8859-1'", accented),
         {QString::fromUtf8("P1| 1 May|a.tar|caf\303\203\302\251")},
         {}},
        {"UTF-8 declared as UTF-16",
         declared("version='1.0' encoding='UTF-16'", plain),
         {},
         noList("Start tag expected.")},
        {"unknown encoding",
         declared("version='1.0' encoding='x-none'", plain),
         {},
         noList("Encoding x-none is unsupported")},
        {"encoding whose name is none",
         declared("version='1.0' encoding='%n'", plain),
         {},
         noList("%n is an invalid encoding name.")},
        {"encoding without a name",
         declared("version='1.0' encoding=''", plain),
         {},
         noList(" is an invalid encoding name.")},
        {"unknown version", declared("version='1.1'", plain), {}, noList("Unsupported XML version.")},
        {"declaration without a version",
         declared("encoding='UTF-8'", plain),
         {},
         noList("Expected 'version', but got '[a-zA-Z]'.")},
        {"half a character", described("caf\xc3"), {}, noList("Encountered incorrectly encoded content.")},
        {"half a character at the end", plain + "\xc3", both, {}},
        {"end of a character without its start",
         described("\xa9"),
         {},
         noList("Encountered incorrectly encoded content.")},
        {"slash in two bytes", described("\xc0\xaf"), {}, noList("Encountered incorrectly encoded content.")},
        {"half of a surrogate pair", described("\xed\xa0\x80"), {}, noList("Encountered incorrectly encoded content.")},
        {"character beyond the last",
         described("\xf4\x90\x80\x80"),
         {},
         noList("Encountered incorrectly encoded content.")},
        {"character of four bytes",
         described("\xf0\x9f\x98\x80"),
         {FIRST_RECORD, QString::fromUtf8("P2| 2 May|b.tar|\360\237\230\200")},
         {}},
        {"NUL in a description",
         described(QByteArray("te\0xt", 5)),
         {FIRST_RECORD, "P2| 2 May|b.tar|te"},
         "Unexpected ''."},
        {"NUL in a heading", PAGE_BEGIN + entryOf(QByteArray("P\0 1", 4)) + PAGE_END, {}, "Unexpected ''."},
        {"NUL in a link", PAGE_BEGIN + entryOf("P1 1", QByteArray("a\0.tar", 6)) + PAGE_END, {}, "Unexpected ''."},
        {"NUL after the list", plain + QByteArray(1, '\0'), both, "Extra content at end of document."},
        {"escape sequence", described("\x1b[31mred"), {FIRST_RECORD}, "Unexpected ''."},
        {"escape sequence as a reference", described("&#27;[31mred"), {FIRST_RECORD}, "Invalid character reference."},
        {"NUL as a reference", described("a&#0;b"), {FIRST_RECORD}, "Invalid character reference."},
        {"character beyond the last as a reference",
         described("&#x110000;"),
         {FIRST_RECORD},
         "Invalid character reference."},
        {"control character of eight bits",
         described("\xc2\x9b"
                   "31mred"),
         {FIRST_RECORD, QString::fromUtf8("P2| 2 May|b.tar|\302\23331mred")},
         {}},
        {"character that is none", described("\xef\xbf\xbf"), {FIRST_RECORD}, "Unexpected ''."},
        {"direction marks",
         described("\xe2\x80\xae"
                   "txet"),
         {FIRST_RECORD, QString::fromUtf8("P2| 2 May|b.tar|\342\200\256txet")},
         {}},
        {"line ends of other systems",
         described("one\r\ntwo\rthree"),
         {FIRST_RECORD, "P2| 2 May|b.tar|one\ntwo\nthree"},
         {}},
    };
}
