// The maker's side: list pages, and a local folder that serves one with its archives.
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

/** The text of a list page. Texts are taken as they are: entities and markup in them are the test's own. */
class PatchPage
{
public:
    /** An entry; `href` is what its link names, P1.tar.gz for a patch P1 when left empty. */
    PatchPage& entry(const QString& name, const QString& date, const QString& description,
                     const QString& href = QString());

    /** Markup at this place among the entries. */
    PatchPage& markup(const QString& text);

    QByteArray html() const;

    /** Writes the page as index.html into a directory. */
    void writeTo(const QString& directory) const;

private:
    QString entries;
};

/** A page of any length: patches P1, P2 ... with "description 1" and so on. */
PatchPage pageOf(int count);

/** A page with an entry for each name, whose link names an uncompressed archive: P1.tar for a patch P1. */
PatchPage pageOf(const QStringList& names);

/** A page with a patch for each archive: P1, P2 ... described as "text". */
PatchPage pageWith(const QStringList& archives);

/** A patch source in a local folder: a page and the archives beside it. */
class LocalSource
{
public:
    explicit LocalSource(const PatchPage& page);

    /** Puts a file beside the page. */
    LocalSource& withFile(const QString& name, const QByteArray& content);

    /** The address of the folder, with a trailing slash. */
    QString url() const;

    QString path() const;

private:
    QTemporaryDir directory;
};

/** An uncompressed archive with one plain file, stored under the given name, which may be an absolute path. */
QByteArray archiveOf(const QString& member, const QByteArray& content);

/** A broken or odd archive for a patch P1: one that tests/corpus/make_bad_archives writes, which is done once. */
QByteArray badArchive(const QString& name);
