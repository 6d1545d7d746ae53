// Collects Qt's warnings while a test function runs. Some faults show only there, for instance a connection with a
// wrong name or a slot without its widget.
#pragma once

#include <QString>
#include <QStringList>

/** Watches Qt's messages from its construction to its destruction. At most one exists at a time. */
class MessageGuard
{
public:
    MessageGuard();
    ~MessageGuard();
    MessageGuard(const MessageGuard&) = delete;
    MessageGuard& operator=(const MessageGuard&) = delete;

    /** Expects one warning with exactly this text. */
    void expect(const QString& text);

    /** The warnings that no test expected, and the expected ones that did not come; empty when all is well. */
    QString complaint() const;
};
