// The copy that tells what to expect is unpacked without its leading slashes, so it stays beside the installation.
#include "sample_release.h"

#include "helper_run.h"
#include "test_files.h"
#include "test_paths.h"

#include <QFileInfo>

using Answer = FakePatchServer::Answer;

namespace {

const QByteArray DESCRIPTION = R"(
patch P1
date 14 January 2026
archive P1.tar
description
> Plain & first.
> Second line.
file lib/one.txt
> one

patch P2
date 2 February 2026
archive P2.tar.gz
description
> Gzip.
file data/pf/two.pf
> 1 blue
> 2 red
file include/two.h
> #pragma once

patch P3
date 3 March 2026
archive P3.tar.bz2
description
> Bzip2.
file bin/three
> #!/bin/sh

patch P4
date 4 April 2026
archive P4.tar.Z
description
> Compress.
file lib/one.txt
> one, corrected by P4

patch P5
date 5 May 2026
archive P5.gz
description
> Gzip in two parts.
file man/man1/five.1
> .TH FIVE 1

patch P6
date 6 June 2026
archive P6.Z
description
> Compress in two parts.
file lib/sub/six.txt
> six
)";

struct SamplePatch
{
    QString name;
    QString description;
    QString archive;
    QByteArray unpacked; // its file when it is unpacked
    QList<QByteArray> members;
};

const QList<SamplePatch> PATCHES{
    {"P1", "Plain & first.\nSecond line.", "P1.tar", "P1.tar", {"lib/one.txt", "patched/P1"}},
    {"P2", "Gzip.", "P2.tar.gz", "P2.tar", {"data/pf/two.pf", "include/two.h", "patched/P2"}},
    {"P3", "Bzip2.", "P3.tar.bz2", "P3.tar.bz2", {"bin/three", "patched/P3"}},
    {"P4", "Compress.", "P4.tar.Z", "P4.tar", {"lib/one.txt", "patched/P4"}},
    {"P5", "Gzip in two parts.", "P5.gz", "P5.gz", {"man/man1/five.1", "patched/P5"}},
    {"P6", "Compress in two parts.", "P6.Z", "P6.Z", {"lib/sub/six.txt", "patched/P6"}}};

} // namespace

SampleRelease::SampleRelease(const QStringList& patched) : applied(patched)
{
    QStringList arguments;
    for (const QString& name : patched) {
        arguments << "--patched" << name;
    }
    requireHelper(projectSourceDir() + "/demo/make_installation", arguments << RELEASE_DIRECTORY);
    writeTestFile(folder.filePath("description"), DESCRIPTION);
    requireHelper(projectSourceDir() + "/demo/make_patch_source", {folder.filePath("description"), sourceFile("")});

    server.answer("/5.9/", Answer::file(sourceFile("index.html")));
    QByteArray before;
    for (const SamplePatch& patch : PATCHES) {
        if (!applied.contains(patch.name)) {
            Answer answer = Answer::file(sourceFile(patch.archive));
            const QByteArray path = "/5.9/" + patch.archive.toUtf8();
            server.answer(path, before.isEmpty() ? answer : answer.after(before));
            before = path;
        }
    }
    program.tavrin(RELEASE_DIRECTORY).input("y\n");
}

SampleRelease::~SampleRelease()
{
    requireHelper("rm", {"-r", RELEASE_DIRECTORY});
}

ProgramRun SampleRelease::run(const QStringList& options)
{
    return program.run(QStringList{"-t"} + options + QStringList{server.url("/5.9/")});
}

std::unique_ptr<ProgramSession> SampleRelease::start(const QStringList& options)
{
    return program.start(QStringList{"-t"} + options + QStringList{server.url("/5.9/")});
}

QString SampleRelease::localUrl() const
{
    return "file://" + folder.filePath("source");
}

QString SampleRelease::sourceFile(const QString& name) const
{
    return folder.filePath("source/" + name);
}

QByteArray SampleRelease::report() const
{
    QList<UnappliedPatch> missing;
    for (const SamplePatch& patch : PATCHES) {
        if (!applied.contains(patch.name)) {
            missing << UnappliedPatch(patch.name, patch.description);
        }
    }
    return reportOf("5.9", missing);
}

QByteArray SampleRelease::installation() const
{
    QList<QByteArray> files;
    QByteArray installed;
    for (const SamplePatch& patch : PATCHES) {
        if (!applied.contains(patch.name)) {
            files << patch.archive.toUtf8();
            installed += installing(patch.unpacked, patch.members);
        }
    }
    return downloaded(files) + APPLY + installed + FINISH;
}

QByteArray SampleRelease::installingRun(const QByteArray& dialogue) const
{
    return report() + NO_CONFLICT + dialogue + DOWNLOAD + installation();
}

QStringList SampleRelease::expectedListing() const
{
    const QString root = folder.filePath("expected/opt/tavrin/5.9");
    requireHelper("mkdir", {"-p", QFileInfo(root).path()});
    requireHelper("cp", {"-a", RELEASE_DIRECTORY, root});
    for (const SamplePatch& patch : PATCHES) {
        const QString source = sourceFile(patch.archive);
        const QString kept = root + "/patches/" + patch.archive;
        requireHelper("bsdtar", {"-xf", source, "-C", folder.filePath("expected")}); // leaves the leading slash out
        requireHelper("cp", {source, kept});
        if (patch.archive.contains(".tar.") && !patch.archive.endsWith(".bz2")) {
            requireHelper("gunzip", {kept});
        }
    }
    requireHelper("perl", {root + "/bin/ozna_installed_patches"});
    const QStringList listing = listingOf(root);
    requireHelper("rm", {"-r", folder.filePath("expected")});
    return listing;
}
