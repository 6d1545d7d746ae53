// The expected listing is made from a copy, into which the archives are unpacked without their leading slashes.
#include "sample_release.h"

#include "helper_run.h"
#include "test_files.h"
#include "test_paths.h"

#include <QFileInfo>

#include <algorithm>

using Answer = FakePatchServer::Answer;

namespace {

struct SamplePatch
{
    QString name;
    QByteArray date;
    QString archive;
    QByteArray unpacked; // its file when it is unpacked
    QString description;
    QList<QPair<QByteArray, QByteArray>> files; // with their contents
};

const QList<SamplePatch> PATCHES{
    {"P1", "14 January 2026", "P1.tar", "P1.tar", "Plain & first.\nSecond line.", {{"lib/one.txt", "one"}}},
    {"P2",
     "2 February 2026",
     "P2.tar.gz",
     "P2.tar",
     "Gzip.",
     {{"data/pf/two.pf", "1 blue\n2 red"}, {"include/two.h", "#pragma once"}}},
    {"P3", "3 March 2026", "P3.tar.bz2", "P3.tar.bz2", "Bzip2.", {{"bin/three", "#!/bin/sh"}}},
    {"P4", "4 April 2026", "P4.tar.Z", "P4.tar", "Compress.", {{"lib/one.txt", "one, corrected by P4"}}},
    {"P5", "5 May 2026", "P5.gz", "P5.gz", "Gzip in two parts.", {{"man/man1/five.1", ".TH FIVE 1"}}},
    {"P6", "6 June 2026", "P6.Z", "P6.Z", "Compress in two parts.", {{"lib/sub/six.txt", "six"}}}};

// What make_patch_source reads about a patch.
QByteArray blockOf(const SamplePatch& patch)
{
    const auto quoted = [](QByteArray text) {
        return "> " + text.replace("\n", "\n> ") + '\n';
    };
    QByteArray block = "patch " + patch.name.toUtf8() + "\ndate " + patch.date + "\narchive " + patch.archive.toUtf8() +
                       "\ndescription\n" + quoted(patch.description.toUtf8());
    for (const auto& [file, content] : patch.files) {
        block += "file " + file + '\n' + quoted(content);
    }
    return block + '\n';
}

} // namespace

SampleRelease::SampleRelease(const QStringList& patched) : applied(patched)
{
    QStringList arguments;
    for (const QString& name : patched) {
        arguments << "--patched" << name;
    }
    requireHelper(projectSourceDir() + "/demo/make_installation", arguments << RELEASE_DIRECTORY);
    QByteArray description;
    for (const SamplePatch& patch : PATCHES) {
        description += blockOf(patch);
    }
    writeTestFile(folder.filePath("description"), description);
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

ProgramRun SampleRelease::runOn(const QString& url)
{
    ProgramRun run = program.run({"-t", url});
    QList<QByteArray> lines = run.output.split('\n');
    const auto isDownload = [](const QByteArray& line) {
        return line.startsWith("Downloaded ");
    };
    const auto first = std::find_if(lines.begin(), lines.end(), isDownload);
    std::sort(first, std::find_if_not(first, lines.end(), isDownload));
    run.output = lines.join('\n');
    return run;
}

QList<QByteArray> SampleRelease::paths() const
{
    QList<QByteArray> paths{"/5.9/"};
    for (const SamplePatch& patch : PATCHES) {
        if (!applied.contains(patch.name)) {
            paths << "/5.9/" + patch.archive.toUtf8();
        }
    }
    return paths;
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

QByteArray SampleRelease::installingRun(const QByteArray& dialogue) const
{
    QList<QByteArray> files;
    QByteArray installed;
    for (const SamplePatch& patch : PATCHES) {
        if (!applied.contains(patch.name)) {
            files << patch.archive.toUtf8();
            QList<QByteArray> members;
            for (const auto& [file, content] : patch.files) {
                members << file;
            }
            installed += installing(patch.unpacked, members << "patched/" + patch.name.toUtf8());
        }
    }
    return report() + NO_CONFLICT + dialogue + DOWNLOAD + downloaded(files) + APPLY + installed + FINISH;
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
