// The sample installation and patch source, made by the project's own makers: one patch of each kind of archive that is
// unpacked, and what a run says about them.
#pragma once

#include "expected_texts.h"
#include "fake_patch_server.h"

#include <QByteArray>
#include <QStringList>
#include <QTemporaryDir>

/** Where the sample installation is. */
inline const QString RELEASE_DIRECTORY = QStringLiteral("/opt/tavrin/5.9");

/** All patches of the source, in the order of its list. */
inline const QList<UnappliedPatch> PATCHES{{"P1", "Plain & first.\nSecond line."},
                                           {"P2", "Gzip."},
                                           {"P3", "Bzip2."},
                                           {"P4", "Compress."},
                                           {"P5", "Gzip in two parts."},
                                           {"P6", "Compress in two parts."}};

/** What is printed when all of them were downloaded. */
QByteArray downloadedAll();

/** What is printed when all of them were installed. */
QByteArray installingAll();

/** The sample installation, in which the named patches are applied, and the patch source; gone when destroyed. */
class Sample
{
public:
    explicit Sample(const QStringList& patched = {});
    ~Sample();
    Sample(const Sample&) = delete;
    Sample& operator=(const Sample&) = delete;

    QString sourcePath() const;

    /** Answers for the page and the archives below /5.9/, the archives one after the other. */
    void serve(FakePatchServer& server) const;

    /** What the installation has to be like after all archives, worked out on a copy with other means. */
    QStringList expectedListing() const;

private:
    QTemporaryDir folder;
};
