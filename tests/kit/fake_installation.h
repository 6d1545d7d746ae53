// An installation below the private /opt/tavrin, made step by step for one test. It can be listed completely, so a test
// can compare everything that a run changed.
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

/** A release directory with all entries that the write check examines; removed by the destructor. */
class FakeInstallation
{
public:
    explicit FakeInstallation(const QString& release = QStringLiteral("5.9"));
    ~FakeInstallation();
    FakeInstallation(const FakeInstallation&) = delete;
    FakeInstallation& operator=(const FakeInstallation&) = delete;

    /** Creates the marker file of an applied patch. */
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

    /** Every entry below the installation; see listingOf(). */
    QStringList tree() const;

private:
    QString release;
    QString root;
};
