// A release with three missing patches, whose order on the page is not that of their names, and recorders for the tools
// that leave what the real ones would: the mark of each patch and the page of applied patches. One of them can be told
// to fail for one patch.
#pragma once

#include "expected_texts.h"
#include "installable_release.h"

#include <QByteArray>
#include <QRegularExpression>
#include <QString>
#include <QStringList>

/** The installation; its recorders are made by the constructor. */
class OrderedRelease : public InstallableRelease
{
public:
    /** The patches in the order of the page. */
    inline static const QStringList NAMES{"P2", "P3", "P1"};

    explicit OrderedRelease(const QString& name = "5.9", const QString& archiveSuffix = ".tar")
        : InstallableRelease(page(archiveSuffix), name), suffix(archiveSuffix)
    {
        for (const QString& patch : NAMES) {
            source.withFile(patch + suffix, "an archive");
        }
        failAt(-1, {});
        tools.add("gunzip", FakeTool::running("/bin/mv \"$1\" \"${1%.gz}\""));
        tools.add("perl", FakeTool::running(": >" + installation.path("applied_patches.html").toUtf8()));
        program.path(tools.pathDirectory());
    }

    /** Has the archive tool run these shell commands instead for the patch at this position, counted from 0. */
    void failAt(int position, const QByteArray& script)
    {
        const QByteArray failure = position < 0 ? QByteArray() : whenAt(position, "$2", script);
        tools.addTo(
            installation.path("bin"), "bsdtar",
            FakeTool::running(failure + "\nn=${2##*/}; : >" + installation.path("patched/").toUtf8() + "${n%%.*}"));
    }

    /** Takes the archive tool away before it is started for the patch at this position. */
    void loseArchiverBefore(int position)
    {
        if (position == 0) {
            installation.without("bin/bsdtar");
        } else {
            failAt(position - 1, "/bin/rm \"$0\"");
        }
    }

    /** Has the decompressor lose the archive of the patch at this position. */
    void loseArchiveAt(int position)
    {
        tools.add("gunzip",
                  FakeTool::running(whenAt(position, "$1", "/bin/rm \"$1\"; exit") + "\n/bin/mv \"$1\" \"${1%.gz}\""));
    }

    /** What a run prints until so many of the patches are installed. */
    QByteArray outputUntil(int count) const
    {
        QList<UnappliedPatch> patches;
        QList<QByteArray> files;
        QByteArray installed;
        for (int i = 0; i < NAMES.size(); ++i) {
            patches.append({NAMES.at(i), "text"});
            files << (NAMES.at(i) + suffix).toUtf8();
            installed += i < count ? installing((NAMES.at(i) + ".tar").toUtf8(), {}) : QByteArray();
        }
        const QString release = installation.releaseName();
        return reportOf(release, patches) + CHECK + noSystemDetected(release.toUtf8()) + QUESTION + '\n' + DOWNLOAD +
               downloaded(files) + APPLY + installed;
    }

    /** The recorded calls until so many of the patches have been given to the archive tool. */
    QStringList callsUntil(int count) const
    {
        QStringList calls;
        for (const QString& name : NAMES.mid(0, count)) {
            const QString file = installation.path("patches/" + name);
            if (suffix != ".tar") {
                calls << "gunzip|" + file + suffix;
            }
            calls << "bsdtar|-xvPf|" + file + ".tar";
        }
        return calls;
    }

    /** The recorded call of the script that writes the page. */
    QString pageCall() const
    {
        return "perl|" + installation.path("bin/ozna_installed_patches");
    }

    /** All files below the installation but the archive tool, sorted. */
    QStringList files() const
    {
        QStringList names = installation.tree().filter(QRegularExpression("^[fl] "));
        names.replaceInStrings(QRegularExpression("^f \\S+ \\S+ \\S+ |^l "), "");
        names.removeAll("bin/bsdtar");
        names.sort();
        return names;
    }

    /** The same when so many of the patches are installed and these archives are stored. */
    static QStringList filesAfter(int installed, const QStringList& archives, const QStringList& others = {})
    {
        QStringList names = QStringList{"bin/ozna_installed_patches"} + others;
        for (const QString& patch : NAMES.mid(0, installed)) {
            names << "patched/" + patch;
        }
        for (const QString& archive : archives) {
            names << "patches/" + archive;
        }
        names.sort();
        return names;
    }

    FakeTools tools;

private:
    static PatchPage page(const QString& archiveSuffix)
    {
        PatchPage page;
        for (const QString& name : NAMES) {
            page.entry(name, "1 May", "text", name + archiveSuffix);
        }
        return page;
    }

    static QByteArray whenAt(int position, const QByteArray& word, const QByteArray& script)
    {
        return "case \"" + word + "\" in */" + NAMES.at(position).toUtf8() + ".*) " + script + ";; esac";
    }

    QString suffix;
};
