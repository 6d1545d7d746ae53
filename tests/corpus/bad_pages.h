// List pages that are broken or odd, each with what a run reads from it and how it fails. The tests of whole runs and
// of the window mode walk the same pages. Archives and hosts that a page names are never asked for.
#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

/** A page and its outcome. */
struct BadPage
{
    QByteArray phrase;   // what is wrong with it
    QByteArray bytes;    // the page
    QStringList records; // what is read, before the failure if there is one: "name|date|archive|description"
    QString failure;     // empty when the page is read; %1 is its address
};

/** Bytes that are no text, or another text than the page says. */
QList<BadPage> pagesInOddEncodings();

/** Markup that is not well-formed, at each place of a page. */
QList<BadPage> pagesWithBrokenMarkup();

/** Document types with entities, name spaces and other things that no list needs. */
QList<BadPage> pagesWithOddDeclarations();

/** Markers and entries that are well-formed and unusual. */
QList<BadPage> pagesWithOddEntries();

/** All of these. */
QList<BadPage> badPages();

/** Pages with very much of something; as a whole they need much memory. */
QList<BadPage> hugePages();

/** The parts of an ordinary page. */
inline const QByteArray PAGE_BEGIN = "<html><body>\n<!-- new patch list -->\n<ul>\n";
inline const QByteArray PAGE_END = "</ul>\n</body></html>\n";

/** An entry of a patch, with its heading and an archive. */
inline QByteArray entryOf(const QByteArray& heading, const QByteArray& archive = "a.tar",
                          const QByteArray& description = "text")
{
    return "<li><a href=\"" + archive + "\">" + heading + "</a></li>\n<blockquote>" + description + "</blockquote>\n";
}

/** Two entries, for a fault between them, and what is read from the first. */
inline const QByteArray FIRST = entryOf("P1 1 May");
inline const QByteArray SECOND = entryOf("P2 2 May", "b.tar", "more");
inline const QString FIRST_RECORD = QStringLiteral("P1| 1 May|a.tar|text");
inline const QString SECOND_RECORD = QStringLiteral("P2| 2 May|b.tar|more");

/** The failure of a page without a marker, or with a fault before it. */
inline QString noList(const QString& reason = QString())
{
    const QString start = QStringLiteral("Failed to find list of patches in page source at %1");
    return reason.isEmpty() ? start : start + QStringLiteral(":\n") + reason + QLatin1Char('\n');
}
