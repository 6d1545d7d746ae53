// QTest installs a message handler while it runs a test. This one is installed over it and passes on every message but
// the expected ones. QTest::ignoreMessage() is not used, because this handler could not know what it was told. Messages
// also come from Qt's network thread, therefore the lock.
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
        // Nor one that could raise a window.
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
        if (isFault && (isPlatformNoise(text) || state.expected.removeOne(text))) {
            return;
        }
        if (isFault) {
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

QString MessageGuard::complaint() const
{
    Collected& state = collected();
    const QMutexLocker lock(&state.mutex);
    QStringList lines;
    for (const QString& text : qAsConst(state.unexpected)) {
        lines << QStringLiteral("unexpected warning: ") + text;
    }
    for (const QString& text : qAsConst(state.expected)) {
        lines << QStringLiteral("missing warning: ") + text;
    }
    return lines.join(QLatin1Char('\n'));
}
