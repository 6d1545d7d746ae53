// The groups of bad pages put together.
#include "bad_pages.h"

QList<BadPage> badPages()
{
    return pagesInOddEncodings() + pagesWithBrokenMarkup() + pagesWithOddDeclarations() + pagesWithOddEntries();
}
