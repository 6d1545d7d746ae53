// Reads an input as a sequence of choices, for targets that make something from it. Behind the end of the input every
// choice is the first one, so that each input, however short, has a meaning and small changes of it have small effects.
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <initializer_list>

/**
 * Puts parts together that make choices: they are made in this order. The operands of a plus are made in any order, so
 * that an input would mean different things in different builds.
 */
inline QByteArray joined(std::initializer_list<QByteArray> parts)
{
    QByteArray whole;
    for (const QByteArray& part : parts) {
        whole += part;
    }
    return whole;
}

/** The choices that one input makes. */
class Choices
{
public:
    explicit Choices(const QByteArray& input) : rest(input)
    {
    }

    bool atEnd() const
    {
        return position >= rest.size();
    }

    /** One of the numbers from 0 to count - 1; at most 256. */
    int below(int count)
    {
        const int byte = atEnd() ? 0 : static_cast<unsigned char>(rest.at(position));
        ++position;
        return byte % count;
    }

    /** True once in `count` times. */
    bool once(int count)
    {
        return below(count) == count - 1;
    }

    QString one(const QStringList& values)
    {
        return values.at(below(static_cast<int>(values.size())));
    }

    QByteArray one(const QList<QByteArray>& values)
    {
        return values.at(below(static_cast<int>(values.size())));
    }

    /** Some bytes of the input as they are. */
    QByteArray bytes(int atMost)
    {
        const int size = below(atMost + 1);
        const QByteArray taken = rest.mid(position, size);
        position += taken.size();
        return taken;
    }

    /** All that is left. */
    QByteArray remaining()
    {
        const QByteArray taken = rest.mid(position);
        position = rest.size();
        return taken;
    }

private:
    QByteArray rest;
    int position = 0;
};
