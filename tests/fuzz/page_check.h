// What has to hold for every page, whatever it is: the parser agrees with the second reading of page_model.h, also when
// the page comes in pieces, and the cursor over the records keeps its rules.
#pragma once

#include "page_model.h"

/** Has the business logic read the page from this address, and ends the process when something is wrong. */
void checkPage(const QByteArray& page, const QString& address = QStringLiteral("http://host.test/5.9/"));
