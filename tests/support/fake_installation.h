// An installation made for one test below the private /opt/tavrin, and the patch page that goes with it. Both are
// built step by step; the installation can be listed whole, so that a test compares everything that a run changed.
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

/** A release directory with everything that the write check looks at; gone when destroyed. */
class FakeInstallation
{
public:
    explicit FakeInstallation(const QString& release = QStringLiteral("5.9"));
    ~FakeInstallation();
    FakeInstallation(const FakeInstallation&) = delete;
    FakeInstallation& operator=(const FakeInstallation&) = delete;

    /** Leaves the mark of an applied patch. */
    FakeInstallation& withPatched(const QString& name);

    /** Puts the archive tool and a script that regenerates the page of applied patches into bin. */
    FakeInstallation& withTools();

    /** Writes a file below the installation, making its folders. */
    FakeInstallation& withFile(const QString& name, const QByteArray& content = QByteArray());

    /** Removes a file or a whole folder below the installation. */
    FakeInstallation& without(const QString& name);

    /** Sets the mode of an entry below the installation, of the installation itself when the name is empty. */
    FakeInstallation& withMode(const QString& name, int mode);

    /** The absolute path of the installation, or of an entry in it. */
    QString path(const QString& name = QString()) const;

    QString releaseName() const;

    /**
     * Every entry below the installation, sorted: "d MODE NAME/", "l NAME -> TARGET", "f MODE SIZE HASH NAME".
     */
    QStringList tree() const;

private:
    QString release;
    QString root;
};

/** The text of a list page. Texts are taken as they stand: entities and markup in them are the test's own. */
class PatchPage
{
public:
    /** An entry; `href` is what its link names, P1.tar.gz for a patch P1 when left empty. */
    PatchPage& entry(const QString& name, const QString& date, const QString& description,
                     const QString& href = QString());

    /** Markup put in where it stands among the entries. */
    PatchPage& markup(const QString& text);

    QByteArray html() const;

    /** Writes the page as index.html into a directory. */
    void writeTo(const QString& directory) const;

private:
    QString entries;
};

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

/** Writes a file, replacing what was there; a failure ends the test program. */
void writeTestFile(const QString& fileName, const QByteArray& content);
