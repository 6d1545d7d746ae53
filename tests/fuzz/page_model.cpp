// The rules of the list page, in the plainest form that they have. Only the names of things and the order of steps
// agree with the parser; the buffer that is filled, trimmed and emptied is written out here.
#include "page_model.h"

#include <QXmlStreamReader>

namespace {

enum State
{
    OUTSIDE,
    IN_LIST_ITEM,
    IN_QUOTE
};

bool isMarker(const QXmlStreamReader& reader)
{
    return reader.tokenType() == QXmlStreamReader::Comment &&
           reader.text().toString().simplified().toLower().contains(QStringLiteral("new patch"));
}

PageRecord recordOf(const QString& heading, const QString& name, const QString& link, const QString& description)
{
    const int blank = heading.indexOf(QLatin1Char(' '));
    const bool isTrial = name.startsWith(QStringLiteral("TrialPatch"), Qt::CaseSensitive);
    return {isTrial ? QStringLiteral("TrialPatch") : name, blank < 0 ? heading : heading.mid(blank), link, description};
}

void readEntries(QXmlStreamReader& reader, PageReading& reading)
{
    QString buffer;
    QString heading;
    QString link;
    State state = OUTSIDE;
    while (!reader.atEnd()) {
        reader.readNext();
        if (reader.isStartElement()) {
            if (reader.name() == QStringLiteral("li")) {
                state = IN_LIST_ITEM;
            } else if (reader.name() == QStringLiteral("blockquote")) {
                state = IN_QUOTE;
            }
            const QXmlStreamAttributes attributes = reader.attributes();
            if (attributes.hasAttribute(QStringLiteral("href"))) {
                link.append(attributes.value(QStringLiteral("href")).toString());
            }
        } else if (reader.isCharacters()) {
            buffer = buffer.append(reader.text().toString()).trimmed();
            if (buffer.isEmpty()) {
                continue;
            }
            if (state == IN_LIST_ITEM) {
                heading = buffer;
            } else if (state == IN_QUOTE) {
                const QString name = heading.split(QLatin1Char(' ')).at(0);
                const QString subject = heading + QLatin1Char(' ') + buffer;
                if (name.isEmpty()) {
                    reading.failure = QStringLiteral("Error obtaining patch name for patch ") + subject;
                    return;
                }
                if (link.isEmpty()) {
                    reading.failure = QStringLiteral("Error obtaining tar file name for patch ") + subject;
                    return;
                }
                reading.records.append(recordOf(heading, name, link, buffer));
                heading = QString();
                link = QString();
                state = OUTSIDE;
            }
            buffer = QString();
        }
    }
    if (reader.hasError()) {
        reading.failure = reader.errorString();
    }
}

} // namespace

QStringList PageReading::lines() const
{
    QStringList lines;
    for (const PageRecord& record : records) {
        lines.append(record.line());
    }
    return lines;
}

PageReading readingOf(const QByteArray& page, const QString& shownAddress)
{
    PageReading reading;
    QXmlStreamReader reader(page);
    bool found = false;
    while (!found && !reader.atEnd()) {
        reader.readNext();
        found = isMarker(reader);
    }
    const QString notFound = QStringLiteral("Failed to find list of patches in page source at ") + shownAddress;
    if (reader.hasError()) {
        reading.failure = notFound + QStringLiteral(":\n") + reader.errorString() + QLatin1Char('\n');
    } else if (!found) {
        reading.failure = notFound;
    } else {
        readEntries(reader, reading);
    }
    return reading;
}
