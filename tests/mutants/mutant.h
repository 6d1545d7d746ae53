// Included ahead of every source of the build for scripts/mutants, and of no other build. It tells which single change
// of the sources is in force, and notes which changes a run has come to. Both are in files at a fixed place instead of
// environment variables, because tests start programs with an environment of their own; each run sees its own files
// there, in a mount namespace. A process that cannot open them runs the unchanged program.
#pragma once

#include <cstdlib>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

struct TavrinMutants
{
    TavrinMutants()
    {
        const int active = open(TAVRIN_MUTANT_STATE "/active", O_RDONLY | O_CLOEXEC);
        char digits[16] = {};
        if (active >= 0 && read(active, digits, sizeof digits - 1) > 0) {
            number = std::atoi(digits);
        }
        close(active);
        const int notes = open(TAVRIN_MUTANT_STATE "/reached", O_RDWR | O_CLOEXEC);
        struct stat size = {};
        if (notes >= 0 && fstat(notes, &size) == 0) {
            void* mapped =
                mmap(nullptr, static_cast<std::size_t>(size.st_size), PROT_READ | PROT_WRITE, MAP_SHARED, notes, 0);
            reached = mapped == MAP_FAILED ? nullptr : static_cast<char*>(mapped);
        }
        close(notes);
    }

    int number = 0;
    char* reached = nullptr;
};

/** Whether the change with this number is in force. */
inline bool tavrin_mutant(int number)
{
    static const TavrinMutants mutants;
    if (mutants.reached != nullptr) {
        mutants.reached[number] = 1;
    }
    return mutants.number == number;
}
