// What happens around each test function, and at the end of a test program.
#include "test.h"

#include <cstdio>
#include <cstdlib>

void Test::setUp()
{
}

void Test::tearDown()
{
}

QString Test::complaint() const
{
    return guard->complaint();
}

void Test::expectWarning(const QString& text)
{
    guard->expect(text);
}

void Test::init()
{
    guard = std::make_unique<MessageGuard>();
    setUp();
}

void Test::cleanup()
{
    tearDown();
    const QString text = complaint();
    guard.reset();
    QCOMPARE(text, QString());
}

void failWithoutResults()
{
    if (!testsAreFinished()) {
        std::fputs("FAIL!  : the code under test ended the test program\n", stderr);
        std::fflush(stdout); // QtTest itself ends the program after it has listed its functions
        std::_Exit(1);
    }
}
