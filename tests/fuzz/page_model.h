// A second reading of the list page: the same rules as the parser's, written again as one literal state machine
// over the tokens of QXmlStreamReader. It has no part of the product in it, so that a mistake shows as a difference.
#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

/** One record of the list, as the getters of the business logic give it. */
struct PageRecord
{
    QString name;
    QString date;
    QString archive;
    QString description;

    QString line() const
    {
        return QStringList{name, date, archive, description}.join(QLatin1Char('|'));
    }
};

/** What reading a page results in. */
struct PageReading
{
    QString failure; // empty when the page was read to its end
    QList<PageRecord> records;

    QStringList lines() const;
};

/** Reads the page that came from this address, given as it is shown. */
PageReading readingOf(const QByteArray& page, const QString& shownAddress);
