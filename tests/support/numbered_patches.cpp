// Page and report have to agree, hence one place for both.
#include "numbered_patches.h"

PatchPage pageOf(int count)
{
    PatchPage page;
    for (int i = 1; i <= count; ++i) {
        page.entry(QStringLiteral("P%1").arg(i), "1 May 2020", QStringLiteral("description %1").arg(i));
    }
    return page;
}

QList<UnappliedPatch> patchesOf(int count)
{
    QList<UnappliedPatch> patches;
    for (int i = 1; i <= count; ++i) {
        patches << UnappliedPatch(QStringLiteral("P%1").arg(i), QStringLiteral("description %1").arg(i));
    }
    return patches;
}
