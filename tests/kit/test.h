// The base of every test class, the table of its rows, and the main function of every test program: it leaves the
// caller's settings behind and enters the private /opt before any thread exists, and only then makes the application
// object. Header-only where it needs the application's class, so that the kit itself needs no Widgets.
#pragma once

#include "message_guard.h"
#include "test_place.h"

#include <QCoreApplication>
#include <QObject>
#include <QString>
#include <QTest>

#include <memory>

/** A test class: each of its test functions fails on a warning of Qt that it did not expect. */
class Test : public QObject
{
    Q_OBJECT

protected:
    /** Makes what every test function uses; runs before each of them. */
    virtual void setUp();

    /** Takes that down again; runs after each test function. */
    virtual void tearDown();

    /** What is wrong at the end of a test function although none of its checks failed; empty when nothing is. */
    virtual QString complaint() const;

    /** Expects one warning with exactly this text. The test fails when it does not come. */
    void expectWarning(const QString& text);

private slots:
    void init();
    void cleanup();

private:
    std::unique_ptr<MessageGuard> guard;
};

/** The columns of a test function's table. Each call adds a row: a phrase for its name, then one value a column. */
template <typename... Types>
class Rows
{
public:
    template <typename... Names>
    explicit Rows(Names... names)
    {
        static_assert(sizeof...(Names) == sizeof...(Types), "each column needs a name");
        (QTest::addColumn<Types>(names), ...);
    }

    void operator()(const QByteArray& phrase, const Types&... values) const
    {
        QTestData& data = QTest::newRow(phrase.constData());
        ((data << values), ...);
    }
};

/** Whether QTest has come to its end; read when the process ends. */
inline bool& testsAreFinished()
{
    static bool finished = false;
    return finished;
}

/** Fails a test program that the code under test ends with exit(); it would pass without its remaining tests. */
void failWithoutResults();

/** Runs the tests of a class in the place that main() has entered. Returns the number of failures. */
template <typename Application, typename TestClass>
int runTests(int argc, char** argv)
{
    Application app(argc, argv);
    TestClass test;
    std::atexit(failWithoutResults);
    const int failures = QTest::qExec(&test, argc, argv);
    testsAreFinished() = true;
    return failures;
}

#define TAVRIN_TEST_MAIN_WITH(Application, TestClass, place)                                                           \
    int main(int argc, char** argv)                                                                                    \
    {                                                                                                                  \
        return enterTestPlace(argv, place) ? runTests<Application, TestClass>(argc, argv) : 1;                         \
    }

#define TAVRIN_TEST_MAIN(TestClass) TAVRIN_TEST_MAIN_WITH(QCoreApplication, TestClass, TestPlace())
// For sources that include <QApplication>.
#define TAVRIN_GUI_TEST_MAIN(TestClass) TAVRIN_TEST_MAIN_WITH(QApplication, TestClass, TestPlace())
