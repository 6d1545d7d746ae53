// Fuzzes the parser of the list page with raw bytes: the input is the page. The corpus therefore consists of pages that
// can be read. What has to hold is in page_check.cpp.
#include "fuzz_start.h"
#include "page_check.h"

int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    startFuzzing<QCoreApplication>(*argc, *argv);
    return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    checkPage(inputOf(data, size));
    return 0;
}
