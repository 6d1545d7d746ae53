// Installing runs of archives that are broken or odd, each beside the same work by hand: gunzip and the archive tool on
// the same file in the same place. What a run prints has to be their texts, what it leaves has to be their files, and
// both have to be what the test says. The archives come from tests/corpus/make_bad_archives.
#pragma once

#include "installable_release.h"

#include <QTest>

/** What a run makes of a bad archive. */
struct ArchiveOutcome
{
    QString file;           // what the archive is called
    QString left;           // what it is called afterwards, in the patches directory
    int status = 0;         // of the archive tool and of the run
    QByteArray said;        // a part of the archive tool's message; empty when it only lists
    QStringList changes;    // see BadArchiveRelease::entries()
    bool isCounted = false; // whether the next run counts the patch as applied
};

/** A release with files and links that an archive can hit, and one patch P1. */
class BadArchiveRelease : public InstallableRelease
{
public:
    /** Offers the archive under the name that the page gives. */
    BadArchiveRelease(const QString& name, const QByteArray& archive);
    ~BadArchiveRelease();

    /**
     * What is below /opt/tavrin and /opt/home: names in the release without its path, then "/" for a folder, the target
     * of a link, or what a file holds, its length and hash when that is long; an unusual mode in brackets.
     */
    QStringList entries() const;

    /** What the archive tools do with the archive when they are started by hand. */
    struct ByHand
    {
        QByteArray unzipping; // the message of gunzip, empty when it has none or is not started
        bool isUnzipped = false;
        ProgramRun extraction;
    };
    ByHand unpackByHand(const QString& name, const QByteArray& archive);
};

/** Installs an archive in a verbose run, and by hand, and fails the running test unless all is as expected. */
void compareBadArchive(const QByteArray& archive, const ArchiveOutcome& expected);

/** The same for an archive of which the machine decides what comes out; the mark of its patch always does. */
void compareWithExtractionByHand(const QByteArray& archive);

/** The new entries: those of the archives that have several files, and the mark that most archives end with. */
inline const QString ONE = QStringLiteral("lib/one.txt: one");
inline const QString TWO = QStringLiteral("lib/two.txt: 3000 bytes, beb8727e");
inline const QString TEXT = QStringLiteral("lib/one.txt: text");
inline const QString MARK = QStringLiteral("patched/P1: P1");
