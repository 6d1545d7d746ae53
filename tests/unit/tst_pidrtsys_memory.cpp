// The block of records that the stand-in library returns: each way of releasing it works, and there is none without
// memory. The operators of this program fail at a chosen allocation; the test of an exhausted malloc() runs in a copy
// of this program. A wrong release is found only in the sanitizer build: otherwise all allocators end in malloc and
// free.
#include "helper_run.h"
#include "listed_systems.h"

#include <QScopeGuard>

#include <cstdio>
#include <new>
#include <utility>

#include <sys/resource.h>

// The sanitizer needs its own operators to watch every block.
#ifndef __SANITIZE_ADDRESS__
static int allocationsLeft = -1; // negative: no limit

void* operator new(std::size_t size)
{
    void* block = allocationsLeft == 0 ? nullptr : std::malloc(size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    allocationsLeft -= allocationsLeft > 0 ? 1 : 0;
    return block;
}

void operator delete(void* block) noexcept
{
    std::free(block);
}

void operator delete(void* block, std::size_t) noexcept
{
    std::free(block);
}
#endif

namespace {

// Uses up the memory of malloc() and prints what the library returns then.
int lookWithoutMemory()
{
    const rlimit none = {0, 0};
    if (setrlimit(RLIMIT_DATA, &none) != 0) {
        return 1;
    }
    struct Block
    {
        Block* next;
    };
    Block* blocks = nullptr;
    for (std::size_t size = 65536; size >= sizeof(Block); size /= 2) {
        while (auto* block = static_cast<Block*>(std::malloc(size))) {
            block->next = blocks;
            blocks = block;
        }
    }
    Pidrtsys* systems = reinterpret_cast<Pidrtsys*>(1);
    const int found = pidrtsys(&systems);
    while (blocks != nullptr) {
        std::free(std::exchange(blocks, blocks->next));
    }
    printf("%d %s\n", found, systems == nullptr ? "null" : "array");
    return 0;
}

} // namespace

class TstPidrtsysMemory : public PidrtsysTest
{
    Q_OBJECT

private slots:
    // The sanitizer ends the process after a wrong release.
    void blockMayBeReleasedInEachWay()
    {
        std::free(severalRecords());
        delete severalRecords();
        delete[] severalRecords();
    }

private:
    Pidrtsys* severalRecords() const
    {
        const StartedProcess first(copies.systemStart());
        const StartedProcess second(copies.systemStart());
        Pidrtsys* systems = nullptr;
        const int found = pidrtsys(&systems);
        [&] {
            QVERIFY(found > 1);
            QVERIFY(systems != nullptr);
        }();
        return systems;
    }
};

// The tests above, and those without memory, in which the sanitizer's allocator would end the process.
class TstPidrtsysMemoryWithPlainAllocator : public TstPidrtsysMemory
{
    Q_OBJECT

private slots:
    void exhaustedMemoryGivesNullAndZero()
    {
        const StartedProcess process(copies.systemStart());
        const HelperRun outcome = runHelper(QCoreApplication::applicationFilePath(), {"--look-without-memory"});
        QCOMPARE(outcome.errors, QByteArray());
        QCOMPARE(outcome.output, QByteArray("0 null\n"));
        QCOMPARE(outcome.status, 0);
    }

    void failedAllocationGivesNullAndZero()
    {
#ifndef __SANITIZE_ADDRESS__
        const StartedProcess process(copies.systemStart());
        int successful = 0;
        for (;; ++successful) {
            Pidrtsys* systems = nullptr;
            allocationsLeft = successful;
            const int found = pidrtsys(&systems);
            allocationsLeft = -1;
            const auto release = qScopeGuard([&systems] { std::free(systems); });
            if (found > 0) {
                QVERIFY(systems != nullptr);
                break;
            }
            QCOMPARE(found, 0);
            QVERIFY(systems == nullptr);
            QVERIFY(successful < 1000);
        }
        QVERIFY2(successful > 1, "the library should need more than one allocation");
#endif
    }
};

int main(int argc, char* argv[])
{
    if (argc > 1 && qstrcmp(argv[1], "--look-without-memory") == 0) {
        return lookWithoutMemory();
    }
#ifdef __SANITIZE_ADDRESS__
    return runTests<QCoreApplication, TstPidrtsysMemory>(argc, argv);
#else
    return runTests<QCoreApplication, TstPidrtsysMemoryWithPlainAllocator>(argc, argv);
#endif
}
#include "tst_pidrtsys_memory.moc"
