// Well-formed pages that no one would write: markers at odd places, entries whose parts are missing, doubled or in
// another order, and names that are no names of files. Listing them is safe; names are only compared.
#include "bad_pages.h"

QList<BadPage> pagesWithOddEntries()
{
    const auto page = [](const QByteArray& entries) {
        return PAGE_BEGIN + entries + PAGE_END;
    };
    const auto marked = [](const QByteArray& start) {
        return "<html>" + start + "<ul>" + FIRST + "</ul></html>";
    };
    const QStringList first{FIRST_RECORD};
    const QString text = QStringLiteral("text");
    const QByteArray quote = "<blockquote>text</blockquote>";
    const QByteArray other = "<blockquote>other</blockquote>";
    const QString noName = QStringLiteral("Error obtaining patch name for patch ");
    const QString noArchive = QStringLiteral("Error obtaining tar file name for patch ");
    const QString longName(5000, QLatin1Char('n'));
    return {
        {"marker in character data", marked("<p><![CDATA[<!-- new patch -->]]></p>"), {}, noList()},
        {"marker in an attribute", marked("<p title='&lt;!-- new patch -->'/>"), {}, noList()},
        {"marker with a hyphen", marked("<!-- new-patch -->"), {}, noList()},
        {"marker with a reference", marked("<!-- new&#32;patch -->"), {}, noList()},
        {"marker with a hard blank", marked("<!-- new\xc2\xa0patch -->"), first, {}},
        {"marker before the root", "<!-- NEW PATCH --><ul>" + FIRST + "</ul>", first, {}},
        {"marker after the list", "<ul>" + FIRST + "<!-- new patch --></ul>", {}, {}},
        {"marker after the root", "<ul>" + FIRST + "</ul><!-- new patch -->", {}, {}},
        {"marker within an entry",
         "<ul><li><!-- new patch --><a href='a.tar'>P1 1 May</a></li>" + quote + "</ul>",
         {},
         "Error obtaining patch name for patch  text"},
        {"marker within a heading",
         "<ul><li><a href='a.tar'>P1 <!-- new patch -->1 May</a></li>" + quote + "</ul>",
         {},
         "Error obtaining patch name for patch  text"},
        {"quote before its item", page(quote + "<li><a href='a.tar'>P1 1 May</a></li>"), {}, noName + " text"},
        {"two quotes of one item", page(FIRST + quote), first, noName + " text"},
        {"two quotes in one item", page("<li><a href='a.tar'>P1 1 May</a>" + quote + other + "</li>"), first,
         noName + " other"},
        {"quote in a quote",
         page("<li><a href='a.tar'>P1 1 May</a></li><blockquote>" + quote + "</blockquote>"),
         first,
         {}},
        {"text in both quotes",
         page("<li><a href='a.tar'>P1 1 May</a></li><blockquote>outer" + quote + "</blockquote>"),
         {"P1| 1 May|a.tar|outer"},
         "Error obtaining patch name for patch  text"},
        {"item in a quote",
         page("<li><a href='a.tar'>P1 1 May</a></li><blockquote><li>P2 2 May</li>text</blockquote>" + quote),
         {"text|text|a.tar|text"},
         {}},
        {"empty quote",
         page("<li><a href='a.tar'>P1 1 May</a></li><blockquote> \n </blockquote>" + SECOND),
         {"P2| 2 May|a.tarb.tar|more"},
         {}},
        {"heading of hard blanks", page(FIRST + entryOf("\xc2\xa0\xc2\xa0")), first, noName + " text"},
        {"hard blank before the name", page(entryOf("\xc2\xa0P1 1 May")), first, {}},
        {"hard blank after the name",
         page(entryOf("P1\xc2\xa0"
                      "1 May")),
         {QString::fromUtf8("P1\302\2401| May|a.tar|text")},
         {}},
        {"tab before the name", page(entryOf("\tP1 1 May")), first, {}},
        {"line break after the name", page(entryOf("P1\n1 May")), {"P1\n1| May|a.tar|text"}, {}},
        {"blank as a reference before the name", page(entryOf("&#32;P1 1 May")), first, {}},
        {"name without a width",
         page(entryOf("\xe2\x80\x8b 1 May")),
         {QString::fromUtf8("\342\200\213| 1 May|a.tar|text")},
         {}},
        {"name of a slash", page(entryOf("/ 1 May")), {"/| 1 May|a.tar|text"}, {}},
        {"name with a slash", page(entryOf("../patches/P1 1 May")), {"../patches/P1| 1 May|a.tar|text"}, {}},
        {"name of one dot", page(entryOf(". 1 May")), {".| 1 May|a.tar|text"}, {}},
        {"name of two dots", page(entryOf(".. 1 May")), {"..| 1 May|a.tar|text"}, {}},
        {"hidden name", page(entryOf(".P1 1 May")), {".P1| 1 May|a.tar|text"}, {}},
        {"name of 5,000 letters", page(entryOf(longName.toLatin1() + " 1 May")), {longName + "| 1 May|a.tar|text"}, {}},
        {"names that differ in case",
         page(entryOf("P1 1 May") + entryOf("p1 2 May")),
         {FIRST_RECORD, "p1| 2 May|a.tar|text"},
         {}},
        {"name of the directory of marks", page(entryOf("patched 1 May")), {"patched| 1 May|a.tar|text"}, {}},
        {"name that looks like an option", page(entryOf("--help 1 May")), {"--help| 1 May|a.tar|text"}, {}},
        {"name of shell text", page(entryOf("$(reboot);`x` 1 May")), {"$(reboot);`x`| 1 May|a.tar|text"}, {}},
        {"trial patch without more", page(entryOf("TrialPatch")), {"TrialPatch|TrialPatch|a.tar|text"}, {}},
        {"two trial patches",
         page(entryOf("TrialPatch-1 1 May") + entryOf("TrialPatchX 2 May", "b.tar")),
         {"TrialPatch| 1 May|a.tar|text", "TrialPatch| 2 May|b.tar|text"},
         {}},
        {"trial patch after a blank", page(entryOf("A TrialPatch")), {"A| TrialPatch|a.tar|text"}, {}},
        {"link in capitals", page("<li><a HREF='a.tar'>P1 1</a></li>" + quote), {}, noArchive + "P1 1 text"},
        {"link of blanks", page(entryOf("P1 1 May", " \t ")), {"P1| 1 May|   |text"}, {}},
        {"link with a line break", page(entryOf("P1 1 May", "a\n.tar")), {"P1| 1 May|a .tar|text"}, {}},
        {"link with a line break as a reference",
         page(entryOf("P1 1 May", "a&#10;.tar")),
         {"P1| 1 May|a\n.tar|text"},
         {}},
        {"empty link beside another", page("<li><a href=''/><a href='a.tar'>P1 1 May</a></li>" + quote), first, {}},
        {"description of one letter", page(entryOf("P1 1 May", "a.tar", "x")), {"P1| 1 May|a.tar|x"}, {}},
        {"description with tabs", page(entryOf("P1 1 May", "a.tar", "a\tb\t\tc")), {"P1| 1 May|a.tar|a\tb\t\tc"}, {}},
        {"list in a list",
         page("<li><a href='a.tar'>P1 1 May</a><ul><li>P2 2 May</li></ul></li>" + quote),
         {"P2| 2 May|a.tar|text"},
         {}},
        {"list in a table", page("<table><tr><td>" + FIRST + "</td></tr></table>"), first, {}},
        {"link within the marked entry's head",
         page("<link href='x/'/><base href='y/'/>" + FIRST),
         {"P1| 1 May|x/y/a.tar|text"},
         {}},
    };
}
