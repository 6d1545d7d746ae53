// QTest has a message handler of its own while it runs a test; ours is put before it and hands everything on but the
// expected. That is why an expected warning is announced here and not with QTest::ignoreMessage(), which this handler
// could not see. Messages come from Qt's network thread too, hence the lock.
#include "message_guard.h"

#include <QMutex>
#include <QMutexLocker>

namespace {

struct Collected
{
    QMutex mutex;
    QStringList unexpected;
    QStringList expected;
    QtMessageHandler previous = nullptr;
};

Collected& collected()
{
    static Collected instance;
    return instance;
}

bool isPlatformNoise(const QString& text)
{
    static const QStringList noise{
        // The offscreen platform has no window manager to tell about size hints.
        QStringLiteral("This plugin does not support propagateSizeHints()"),
        // Nor one that could put a window in front of others.
        QStringLiteral("This plugin does not support raise()"),
    };
    return noise.contains(text);
}

void handleMessage(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    Collected& state = collected();
    QtMessageHandler previous = nullptr;
    {
        const QMutexLocker lock(&state.mutex);
        const bool isFault = type == QtWarningMsg || type == QtCriticalMsg;
        if (isFault && state.expected.removeOne(text)) {
            return;
        }
        if (isFault && !isPlatformNoise(text)) {
            state.unexpected << text;
        }
        previous = state.previous;
    }
    previous(type, context, text);
}

} // namespace

MessageGuard::MessageGuard()
{
    Collected& state = collected();
    const QMutexLocker lock(&state.mutex);
    state.unexpected.clear();
    state.expected.clear();
    state.previous = qInstallMessageHandler(handleMessage);
}

MessageGuard::~MessageGuard()
{
    qInstallMessageHandler(collected().previous);
}

void MessageGuard::expect(const QString& text)
{
    Collected& state = collected();
    const QMutexLocker lock(&state.mutex);
    state.expected << text;
}

QStringList MessageGuard::unexpected() const
{
    Collected& state = collected();
    const QMutexLocker lock(&state.mutex);
    return state.unexpected;
}

QStringList MessageGuard::missing() const
{
    Collected& state = collected();
    const QMutexLocker lock(&state.mutex);
    return state.expected;
}

QString MessageGuard::complaint() const
{
    QStringList lines;
    for (const QString& text : unexpected()) {
        lines << QStringLiteral("unexpected warning: ") + text;
    }
    for (const QString& text : missing()) {
        lines << QStringLiteral("missing warning: ") + text;
    }
    return lines.join(QLatin1Char('\n'));
}
