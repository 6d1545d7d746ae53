// Which patches of the list are applied: those that have a marker, a plain file with the name of the patch in the
// installation's directory of markers. The directory is read once for the whole list. Nothing here prints or changes a
// file.
#include "tavrin_update_bl.h"

#include <QFile>
#include <QSet>

#include <bitset>
#include <memory>

#include <dirent.h>

namespace {

// A quick first check of a file's name: false means that no patch of the list has it. An installation can have many
// more markers than the list has patches; reading their names is quick, but decoding and keeping each one is not. With
// a name in the list that is not ASCII, every file passes.
class ListedNames
{
public:
    void add(const QString& name)
    {
        std::size_t key = 0;
        for (const QChar character : name) {
            key = nextKey(key, character.unicode());
            isAscii = isAscii && character.unicode() < 0x80;
        }
        keys.set(key);
    }

    bool mayContain(const char* name) const
    {
        std::size_t key = 0;
        for (const char* byte = name; *byte != '\0'; ++byte) {
            key = nextKey(key, static_cast<unsigned char>(*byte));
        }
        return !isAscii || keys.test(key); // other characters have other bytes in the name of a file
    }

private:
    static constexpr std::size_t SIZE = 1 << 16;

    static std::size_t nextKey(std::size_t key, std::size_t character)
    {
        return (key * 31 + character) % SIZE;
    }

    std::bitset<SIZE> keys;
    bool isAscii = true;
};

struct DirectoryCloser
{
    void operator()(DIR* directory) const
    {
        closedir(directory);
    }
};

// The same as in the listing of a QDir with QDir::Files: a link counts when it leads to anything but a directory.
bool isPlainFile(const dirent& entry, const QString& path)
{
    if (entry.d_type != DT_LNK && entry.d_type != DT_UNKNOWN) {
        return entry.d_type == DT_REG;
    }
    const QFileInfo file(path);
    return file.isFile() || (file.isSymLink() && file.exists() && !file.isDir());
}

// The plain files in the directory whose names may be in the list. Hidden files are left out, and those whose names are
// not text in the local encoding.
QSet<QString> markerNames(const QString& directory, const ListedNames& listed)
{
    QSet<QString> names;
    const QByteArray nativeDirectory = QFile::encodeName(directory);
    const std::unique_ptr<DIR, DirectoryCloser> entries(opendir(nativeDirectory.constData()));
    while (const dirent* entry = entries ? readdir(entries.get()) : nullptr) {
        if (entry->d_name[0] == '.' || !listed.mayContain(entry->d_name)) {
            continue;
        }
        // Alone, a name would lose a byte order mark at its start.
        const QByteArray nativePath = nativeDirectory + '/' + entry->d_name;
        const QString path = QFile::decodeName(nativePath);
        const bool isText = QFile::encodeName(path) == nativePath;
        if (isText && isPlainFile(*entry, path)) {
            names.insert(path.mid(directory.length() + 1));
        }
    }
    return names;
}

} // namespace

void TavrinUpdateBusinessLogic::determinePatchesApplied()
{
    patchesNeeded = 0;
    QDir markers = installDir;
    markers.cd(PATCHED_DIR); // required: when this fails, the markers are those in the installation directory itself
    const auto listed = std::make_unique<ListedNames>();
    for (const PatchInfo& patch : qAsConst(patches)) {
        listed->add(patch.name);
    }
    const QSet<QString> names = markerNames(markers.absolutePath(), *listed);
    while (nextPatch()) {
        const bool applied = names.contains(getPatchName());
        setPatchApplied(applied);
        if (!applied) {
            ++patchesNeeded;
        }
    }
}
