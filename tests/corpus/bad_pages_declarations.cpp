// Document types, entities, name spaces and instructions. Entities of the page itself are read within the reader's
// limit; those of other files and hosts are never fetched.
#include "bad_pages.h"

namespace {

QByteArray withType(const QByteArray& declarations, const QByteArray& entries)
{
    return "<!DOCTYPE html [" + declarations + "]>\n" + PAGE_BEGIN + entries + PAGE_END;
}

// Each entity is ten times the one before.
QByteArray laughs(int count)
{
    QByteArray declarations = "<!ENTITY e0 'ha'>";
    for (int i = 1; i <= count; ++i) {
        const QByteArray before = "&e" + QByteArray::number(i - 1) + ";";
        declarations += "<!ENTITY e" + QByteArray::number(i) + " '" + before.repeated(10) + "'>";
    }
    return declarations;
}

} // namespace

QList<BadPage> pagesWithOddDeclarations()
{
    const auto described = [](const QByteArray& text) {
        return FIRST + entryOf("P2 2 May", "b.tar", text);
    };
    const QStringList first{FIRST_RECORD};
    const QByteArray list = PAGE_BEGIN + FIRST + SECOND + PAGE_END;
    const QStringList both{FIRST_RECORD, SECOND_RECORD};
    return {
        {"document type in small letters",
         "<!doctype html>" + list,
         {},
         noList("Expected '-' or 'DOCTYPE', but got '[a-zA-Z]'.")},
        {"document type of another file", "<!DOCTYPE html SYSTEM 'file:///etc/passwd'>" + list, both, {}},
        {"document type of a host", "<!DOCTYPE html PUBLIC '-//x' 'http://127.0.0.1:1/x.dtd'>" + list, both, {}},
        {"unknown entity with a document type of a host",
         "<!DOCTYPE html PUBLIC '-//x' 'http://127.0.0.1:1/x.dtd'>" + PAGE_BEGIN + described("one&nbsp;two") + PAGE_END,
         {FIRST_RECORD, "P2| 2 May|b.tar|one"},
         {}},
        {"entity in a heading", withType("<!ENTITY n 'P1'>", entryOf("&n; 1 May")), first, {}},
        {"entity in a link", withType("<!ENTITY n 'a.tar'>", entryOf("P1 1 May", "&n;")), first, {}},
        {"entity with markup",
         withType("<!ENTITY n \"<li><a href='b.tar'>P2 2 May</a></li>\">", FIRST + "&n;<blockquote>more</blockquote>"),
         both,
         {}},
        {"entity with half a tag", withType("<!ENTITY n '<b'>", described("&n;>")), first, "Invalid entity value."},
        {"entity with an unclosed element", withType("<!ENTITY n '<b>'>", described("&n;</b>")), first,
         "Invalid entity value."},
        {"entity that contains itself", withType("<!ENTITY n '&n;'>", described("&n;")), first,
         "Self-referencing entity detected."},
        {"entities that contain each other", withType("<!ENTITY n '&m;'><!ENTITY m '&n;'>", described("&n;")), first,
         "Self-referencing entity detected."},
        {"entity that contains itself in a link", withType("<!ENTITY n '&n;'>", FIRST + entryOf("P2 2", "&n;")), first,
         "Self-referencing entity detected."},
        {"few laughs",
         withType(laughs(2), described("&e2;")),
         {FIRST_RECORD,
          "P2| 2 "
          "May|b.tar|"
          "hahahahahahahahahahahahahahahahahahahahahahahahahahahahahahahahahahahahahahahahahahahahahahahahahahahahahaha"
          "hahahahahahahahahahahahahahahahahahahahahahahahahahahahahahahahahahahahahahahahahahahahahaha"},
         {}},
        {"thousand million laughs", withType(laughs(9), described("&e9;")), first,
         "Entity expands to more characters than the entity expansion limit."},
        {"thousand million laughs in a link", withType(laughs(9), FIRST + entryOf("P2 2", "&e9;")), first,
         "Entity expands to more characters than the entity expansion limit."},
        {"entity in the address of another",
         withType(laughs(9) + "<!ENTITY x SYSTEM '&e9;'>", FIRST),
         {},
         noList("Unexpected '&'.")},
        {"long entity a hundred times",
         withType("<!ENTITY n '" + QByteArray(3000, 'x') + "'>", described(QByteArray("&n;").repeated(100))),
         {FIRST_RECORD, "P2| 2 May|b.tar|" + QString(300000, 'x')},
         {}},
        {"entity of another file",
         withType("<!ENTITY n SYSTEM 'file:///etc/passwd'>", described("a&n;b")),
         {FIRST_RECORD, "P2| 2 May|b.tar|ab"},
         {}},
        {"entity of another file in a link",
         withType("<!ENTITY n SYSTEM 'file:///etc/passwd'>", FIRST + entryOf("P2 2", "&n;")), first,
         "Reference to external entity 'n' in attribute value."},
        {"entity of a host", withType("<!ENTITY n SYSTEM 'http://127.0.0.1:1/x'>", described("&n;")), first, {}},
        {"entity of the declarations", withType("<!ENTITY % n SYSTEM 'file:///etc/passwd'> %n;", FIRST), first, {}},
        {"unknown entity of the declarations", withType("%n;", FIRST), {}, noList("Entity 'n' not declared.")},
        {"entity that is no text",
         withType("<!NOTATION g SYSTEM 'g'><!ENTITY n SYSTEM 'x.gif' NDATA g>", described("&n;")), first,
         "Reference to unparsed entity 'n'."},
        {"attribute by default",
         withType("<!ATTLIST b href CDATA 'c'>", FIRST + "<li><b>P2 2</b></li><blockquote>more</blockquote>"),
         {FIRST_RECORD, "P2| 2|c|more"},
         {}},
        {"declarations that do not end",
         "<!DOCTYPE html [<!ENTITY n 'x'>" + list,
         {},
         noList("Expected '?' or '!', but got '[a-zA-Z]'.")},
        {"marker among the declarations", "<!DOCTYPE html [<!-- new patch -->]><ul>" + FIRST + "</ul>", first, {}},
        {"unknown prefix of an element", PAGE_BEGIN + FIRST + "<x:b/>" + SECOND + PAGE_END, first,
         "Namespace prefix 'x' not declared"},
        {"unknown prefix of an attribute", PAGE_BEGIN + FIRST + "<b x:c='d'/>" + SECOND + PAGE_END, first,
         "Namespace prefix 'x' not declared"},
        {"list with a prefix",
         "<h:html xmlns:h='urn:h'><!-- new patch --><h:li><h:a href='a.tar'>P1 1 May</h:a></h:li>"
         "<h:blockquote>text</h:blockquote></h:html>",
         first,
         {}},
        {"link with a prefix",
         "<ul xmlns:x='urn:x'><!-- new patch --><li><a x:href='a.tar'>P1 1</a></li>"
         "<blockquote>text</blockquote></ul>",
         {},
         "Error obtaining tar file name for patch P1 1 text"},
        {"name space without a name",
         "<ul xmlns:x=''><!-- new patch -->" + FIRST + "</ul>",
         {},
         noList("Illegal namespace declaration.")},
        {"prefix that is reserved",
         "<ul xmlns:xml='urn:x'><!-- new patch -->" + FIRST + "</ul>",
         {},
         noList("Illegal namespace declaration.")},
        {"name with two colons", PAGE_BEGIN + FIRST + "<a:b:c/>" + PAGE_END, first,
         "Expected '>' or '/', but got ':'."},
        {"instruction of a style sheet", "<?xml-stylesheet href='file:///etc/passwd'?>" + list, both, {}},
        {"instruction within the marker", "<ul><?x <!-- new patch --> ?>" + FIRST + "</ul>", {}, noList()},
        {"included file",
         "<ul xmlns:xi='http://www.w3.org/2001/XInclude'><!-- new patch -->" + FIRST +
             "<xi:include href='file:///etc/passwd'/>" + SECOND + "</ul>",
         {FIRST_RECORD, "P2| 2 May|file:///etc/passwdb.tar|more"},
         {}},
    };
}
