// The copy that tells what to expect is unpacked without its leading slashes, so it stays beside the installation.
#include "sample_release.h"

#include "expected_texts.h"
#include "fake_installation.h"
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
> one, mended by P4

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

const QStringList ARCHIVES{"P1.tar", "P2.tar.gz", "P3.tar.bz2", "P4.tar.Z", "P5.gz", "P6.Z"};

} // namespace

QByteArray downloadedAll()
{
    QByteArray text;
    for (const QString& archive : ARCHIVES) {
        text += "Downloaded " + archive.toUtf8() + '\n';
    }
    return text;
}

QByteArray installingAll()
{
    return installing("P1.tar", {"lib/one.txt", "patched/P1"}) +
           installing("P2.tar", {"data/pf/two.pf", "include/two.h", "patched/P2"}) +
           installing("P3.tar.bz2", {"bin/three", "patched/P3"}) + installing("P4.tar", {"lib/one.txt", "patched/P4"}) +
           installing("P5.gz", {"man/man1/five.1", "patched/P5"}) +
           installing("P6.Z", {"lib/sub/six.txt", "patched/P6"});
}

Sample::Sample(const QStringList& patched)
{
    QStringList arguments;
    for (const QString& name : patched) {
        arguments << "--patched" << name;
    }
    requireHelper(projectSourceDir() + "/demo/make_installation", arguments << RELEASE_DIRECTORY);
    writeTestFile(folder.filePath("description"), DESCRIPTION);
    requireHelper(projectSourceDir() + "/demo/make_patch_source", {folder.filePath("description"), sourcePath()});
}

Sample::~Sample()
{
    requireHelper("rm", {"-r", RELEASE_DIRECTORY});
}

QString Sample::sourcePath() const
{
    return folder.filePath("source");
}

void Sample::serve(FakePatchServer& server) const
{
    server.answer("/5.9/", Answer::file(sourcePath() + "/index.html"));
    QByteArray before;
    for (const QString& archive : ARCHIVES) {
        Answer answer = Answer::file(sourcePath() + '/' + archive);
        const QByteArray path = "/5.9/" + archive.toUtf8();
        server.answer(path, before.isEmpty() ? answer : answer.after(before));
        before = path;
    }
}

QStringList Sample::expectedListing() const
{
    const QString root = folder.filePath("expected/opt/tavrin/5.9");
    requireHelper("mkdir", {"-p", QFileInfo(root).path()});
    requireHelper("cp", {"-a", RELEASE_DIRECTORY, root});
    for (const QString& archive : ARCHIVES) {
        const QString source = sourcePath() + '/' + archive;
        const QString kept = root + "/patches/" + archive;
        requireHelper("bsdtar", {"-xf", source, "-C", folder.filePath("expected")}); // leaves the leading slash out
        requireHelper("cp", {source, kept});
        if (archive.contains(".tar.") && !archive.endsWith(".bz2")) {
            requireHelper("gunzip", {kept});
        }
    }
    requireHelper("perl", {root + "/bin/ozna_installed_patches"});
    const QStringList listing = listingOf(root);
    requireHelper("rm", {"-r", folder.filePath("expected")});
    return listing;
}
