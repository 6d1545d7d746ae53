// The limit for finding out which patches are applied: one pass over the directory of markers. Prints the number of
// files in it.
#include <cstdio>

#include <dirent.h>

// Usage: limit_readdir DIRECTORY
int main(int argc, char** argv)
{
    DIR* directory = argc == 2 ? opendir(argv[1]) : nullptr;
    if (directory == nullptr) {
        std::fprintf(stderr, "Usage: limit_readdir DIRECTORY\n");
        return 1;
    }
    int files = 0;
    while (const dirent* entry = readdir(directory)) {
        files += entry->d_type == DT_REG ? 1 : 0;
    }
    closedir(directory);
    std::printf("%d\n", files);
    return 0;
}
