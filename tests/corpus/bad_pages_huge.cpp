// Pages with very much of one thing. What a run needs for them grows with the page and not faster.
#include "bad_pages.h"

namespace {

constexpr int MEGABYTE = 1 << 20;
constexpr int MANY = 100000;

} // namespace

QList<BadPage> hugePages()
{
    const QByteArray list = "<!-- new patch -->" + FIRST;
    const QStringList first{FIRST_RECORD};
    const QString longText(4 * MEGABYTE, QLatin1Char('x'));
    const QByteArray bytes = longText.toLatin1();
    QStringList many;
    for (int i = 0; i < MANY; ++i) {
        many << FIRST_RECORD;
    }
    QByteArray attributes;
    for (int i = 0; i < 1000; ++i) {
        attributes += " a" + QByteArray::number(i) + "='b'";
    }
    const QByteArray kilobyte(1000, 'x');
    const QByteArray references = QByteArray("&n;").repeated(2 * MEGABYTE);
    const QString expanded = QStringLiteral("Entity expands to more characters than the entity expansion limit.");
    const auto declared = [](const QByteArray& declarations, const QByteArray& entries) {
        return "<!DOCTYPE ul [" + declarations + "]><ul><!-- new patch -->" + FIRST + entries + "</ul>";
    };
    return {
        {"elements nested 100,000 deep before the marker",
         QByteArray("<p>").repeated(MANY) + list + QByteArray("</p>").repeated(MANY),
         first,
         {}},
        {"elements nested 100,000 deep in the list",
         "<ul>" + list + QByteArray("<p>").repeated(MANY) + QByteArray("</p>").repeated(MANY) + "</ul>",
         first,
         {}},
        {"elements nested 100,000 deep and never closed", "<ul>" + list + QByteArray("<p>").repeated(MANY), first,
         "Premature end of document."},
        {"items nested 100,000 deep",
         "<ul><!-- new patch -->" + QByteArray("<li>").repeated(MANY) + FIRST + QByteArray("</li>").repeated(MANY) +
             "</ul>",
         first,
         {}},
        {"long attribute before the marker", "<ul title='" + bytes + "'>" + list + "</ul>", first, {}},
        {"long link", "<ul><!-- new patch -->" + entryOf("P1 1", bytes) + "</ul>", {"P1| 1|" + longText + "|text"}, {}},
        {"long text before the marker", "<ul>" + bytes + list + "</ul>", first, {}},
        {"long heading",
         "<ul><!-- new patch -->" + entryOf("P1 " + bytes) + "</ul>",
         {"P1| " + longText + "|a.tar|text"},
         {}},
        {"long name",
         "<ul><!-- new patch -->" + entryOf(bytes) + "</ul>",
         {longText + "|" + longText + "|a.tar|text"},
         {}},
        {"long description",
         "<ul><!-- new patch -->" + entryOf("P1 1", "a.tar", bytes) + "</ul>",
         {"P1| 1|a.tar|" + longText},
         {}},
        {"long comment before the marker", "<ul><!--" + bytes + "-->" + list + "</ul>", first, {}},
        {"long marker", "<ul><!--" + bytes + " new patch -->" + FIRST + "</ul>", first, {}},
        {"long white space", "<ul>" + list + QByteArray(4 * MEGABYTE, ' ') + "</ul>", first, {}},
        {"long name of an element", "<ul>" + list + "<" + bytes + "/></ul>", first,
         "Length of XML attribute name exceeds implementation limits (4KiB characters)."},
        {"long instruction", "<ul>" + list + "<?x " + bytes + "?></ul>", first, {}},
        {"long character data", "<ul>" + list + "<![CDATA[" + bytes + "]]></ul>", first, {}},
        {"long tag that never ends", "<ul>" + list + "<" + bytes, first,
         "Length of XML attribute name exceeds implementation limits (4KiB characters)."},
        {"1,000 attributes of one element", "<ul" + attributes + ">" + list + "</ul>", first, {}},
        {"100,000 links of one entry",
         "<ul><!-- new patch --><li>P1 1 May" + QByteArray("<a href='x'/>").repeated(MANY) +
             "</li><blockquote>text</blockquote></ul>",
         {"P1| 1 May|" + QString(MANY, 'x') + "|text"},
         {}},
        {"100,000 comments", "<ul>" + QByteArray("<!-- x -->").repeated(MANY) + list + "</ul>", first, {}},
        {"100,000 markers", "<ul>" + QByteArray("<!-- new patch -->").repeated(MANY) + list + "</ul>", first, {}},
        {"100,000 items without a quote",
         "<ul><!-- new patch -->" + QByteArray("<li>P0 0 May</li>").repeated(MANY) + FIRST + "</ul>",
         first,
         {}},
        {"100,000 entries of one patch", "<ul><!-- new patch -->" + FIRST.repeated(MANY) + "</ul>", many, {}},
        {"page of few megabytes that entities make large",
         declared("<!ENTITY n '" + kilobyte + "'>", entryOf("P2 2", "b.tar", references)), first, expanded},
        {"page of few megabytes with a link that entities make large",
         declared("<!ENTITY n '" + kilobyte + "'>", entryOf("P2 2", references)), first, expanded},
        {"page of few megabytes with declarations that entities make large",
         "<!DOCTYPE ul [<!ENTITY % n '<!--" + kilobyte + "-->'>" + QByteArray("%n;").repeated(2 * MEGABYTE) + "]>" +
             list,
         {},
         noList(expanded)},
        {"page of few megabytes with attributes that entities make large",
         "<!DOCTYPE ul [<!ENTITY n '" + kilobyte + "'><!ATTLIST b c CDATA '" + references + "'>]>" + list,
         {},
         noList(expanded)},
        {"page of few megabytes that default links make large",
         declared("<!ATTLIST b href CDATA '" + QByteArray(MEGABYTE, 'x') + "'>", QByteArray("<b/>").repeated(3000)),
         first, "The links that elements have by default are too long."},
    };
}
