// A list page of any length and what the report says about it: patches P1, P2 ... with "description 1" and so on.
#pragma once

#include "expected_report.h"
#include "fake_installation.h"

/** The page. */
PatchPage pageOf(int count);

/** The same patches as a report shows them when none is applied. */
QList<UnappliedPatch> patchesOf(int count);
