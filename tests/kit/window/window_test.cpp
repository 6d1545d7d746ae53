// What the tests of the window have in common with each other, and not with the rest.
#include "window_test.h"

#include "window_fixture.h"

void WindowTest::setUp()
{
    dialogs = std::make_unique<DialogAnswerer>();
}

QString WindowTest::complaint() const
{
    return dialogs->complaint() + Test::complaint();
}

void WindowTest::initTestCase()
{
    QCOMPARE(wrongLibraryComplaint(), QString());
}
