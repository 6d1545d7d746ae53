// Stands for the fuzzer in a build without one: calls the target with each file of its corpus, or with the files that
// are given as arguments. A corpus without files fails, since it would show nothing. The target ends the process itself
// when something is wrong; the last file named is then the input.
#include "fuzz_target.h"

#include <QDir>
#include <QFile>

#include <cstdio>
#include <vector>

namespace {

bool replay(const QString& name)
{
    QFile file(name);
    if (!file.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "cannot read %s: %s\n", qUtf8Printable(name), qUtf8Printable(file.errorString()));
        return false;
    }
    std::printf("%s\n", qUtf8Printable(name));
    std::fflush(stdout);
    // A block of the exact size, with nothing behind it.
    const std::vector<std::uint8_t> input = [&file] {
        const QByteArray content = file.readAll();
        return std::vector<std::uint8_t>(content.cbegin(), content.cend());
    }();
    LLVMFuzzerTestOneInput(input.data(), input.size());
    return true;
}

QStringList filesOfCorpus()
{
    const QDir corpus(QStringLiteral(FUZZ_CORPUS));
    QStringList files;
    const QStringList names = corpus.entryList(QDir::Files, QDir::Name);
    for (const QString& name : names) {
        files << corpus.filePath(name);
    }
    return files;
}

} // namespace

int main(int argc, char** argv)
{
    LLVMFuzzerInitialize(&argc, &argv);
    QStringList files;
    for (int i = 1; i < argc; ++i) {
        files << QString::fromLocal8Bit(argv[i]);
    }
    if (files.isEmpty()) {
        files = filesOfCorpus();
    }
    for (const QString& file : qAsConst(files)) {
        if (!replay(file)) {
            return 1;
        }
    }
    std::printf("%d inputs\n", static_cast<int>(files.count()));
    if (files.isEmpty()) {
        std::fprintf(stderr, "no inputs in %s\n", FUZZ_CORPUS);
        return 1;
    }
    return 0;
}
