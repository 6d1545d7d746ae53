// Collects Qt's warnings while a test function runs: a connection with a wrong name, a slot without its widget and
// other faults show in nothing else. Make one in init(), check complaint() in cleanup().
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

    /** The next warning with exactly this text is meant; that it comes is then required. */
    void expect(const QString& text);

    /** Warnings that nobody expected. */
    QStringList unexpected() const;

    /** Expected warnings that did not come. */
    QStringList missing() const;

    /** Everything wrong as one text, empty when all is well. */
    QString complaint() const;
};
