// What every fuzz target shares: the function that the fuzzer calls with each input, and the comparisons that make an
// input a finding. The same function is called by replay.cpp with the files of the corpus, in a build without a fuzzer.
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <cstddef>
#include <cstdint>

/** Handles one input; ends the process when something is wrong. */
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

/** Prepares the process; called once before the first input. */
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);

/** The input as bytes of its own, so that a read beyond its end is noticed. */
inline QByteArray inputOf(const std::uint8_t* data, std::size_t size)
{
    return QByteArray(reinterpret_cast<const char*>(data), static_cast<int>(size));
}

/** Ends the process when a condition does not hold. */
inline void require(bool condition, const char* what)
{
    if (!condition) {
        qFatal("this does not hold: %s", what);
    }
}

/** Ends the process when two texts differ. */
inline void compare(const QString& actual, const QString& expected, const char* what)
{
    if (actual != expected) {
        qFatal("%s\n  is       '%s'\n  and not  '%s'", what, qUtf8Printable(actual), qUtf8Printable(expected));
    }
}

inline void compare(const QStringList& actual, const QStringList& expected, const char* what)
{
    if (actual != expected) {
        compare(actual.join(QStringLiteral("\n    ")), expected.join(QStringLiteral("\n    ")), what);
        qFatal("%s: other pieces of the same text", what);
    }
}

inline void compare(int actual, int expected, const char* what)
{
    compare(QString::number(actual), QString::number(expected), what);
}
