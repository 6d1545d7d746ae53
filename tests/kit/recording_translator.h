// The translator of the tests. It records which of the program's texts go through a translation call, and in which
// context. Header-only: a test installs it in its own process, and the preloaded text_recorder.cpp in the program.
#pragma once

#include <QString>
#include <QStringList>
#include <QTranslator>

#include <functional>
#include <utility>

/**
 * Records each of the program's own texts that is looked up, as "context|text", and translates it. By default the
 * translation has small and capital letters exchanged, so that a text that was not looked up differs from it; Qt's own
 * texts are not translated. The destructor removes the translator from the application.
 */
class RecordingTranslator : public QTranslator
{
public:
    /** What a text is translated to; a null text for no translation. */
    using Answer = std::function<QString(const QString& context, const QString& text)>;

    explicit RecordingTranslator(Answer givenAnswer = lettersExchanged, QObject* parent = nullptr)
        : QTranslator(parent), answer(std::move(givenAnswer))
    {
    }

    QString translate(const char* context, const char* sourceText, const char* disambiguation, int n) const override
    {
        const QString contextName = QString::fromUtf8(context);
        const QString text = QString::fromUtf8(sourceText);
        if (isOurs(contextName)) {
            const bool isPlain = disambiguation == nullptr && n == -1;
            note(contextName + QLatin1Char('|') + text +
                 (isPlain ? QString() : QStringLiteral("|not a plain look-up")));
        }
        return answer(contextName, text);
    }

    static QString lettersExchanged(const QString& context, const QString& text)
    {
        return isOurs(context) ? answerTo(text) : QString();
    }

    /** Puts every text of the context into brackets; of all contexts, after the name of the context, when it is empty.
     */
    static Answer bracketsIn(const QString& onlyContext)
    {
        return [onlyContext](const QString& context, const QString& text) {
            if (onlyContext.isEmpty()) {
                return QStringLiteral("%1[%2]").arg(context, text);
            }
            return context == onlyContext ? QStringLiteral("[%1]").arg(text) : QString();
        };
    }

    static QString noAnswer(const QString& context, const QString& text)
    {
        Q_UNUSED(context)
        Q_UNUSED(text)
        return QString();
    }

    /** What a text is translated to by default. */
    static QString answerTo(const QString& text)
    {
        QString exchanged;
        for (const QChar letter : text) {
            exchanged += letter.isLower() ? letter.toUpper() : letter.toLower();
        }
        return exchanged;
    }

    bool isEmpty() const override
    {
        return false;
    }

    /** What was looked up since the last call, as "context|text", in order. */
    QStringList takeTexts()
    {
        QStringList taken;
        taken.swap(texts);
        return taken;
    }

protected:
    virtual void note(const QString& text) const
    {
        texts << text;
    }

private:
    static bool isOurs(const QString& context)
    {
        static const QStringList others{QStringLiteral("main"), QStringLiteral("QApplication"),
                                        QStringLiteral("QCoreApplication")};
        return context.contains(QLatin1String("Tavrin")) || others.contains(context);
    }

    const Answer answer;
    mutable QStringList texts;
};

/** The expected texts that were not looked up, and the others that were; empty when there are none. */
inline QString textsComplaint(const QStringList& expected, const QStringList& looked)
{
    QStringList rest = looked;
    QString complaint;
    for (const QString& text : expected) {
        if (!rest.removeOne(text)) {
            complaint += QStringLiteral("not looked up: ") + text + QLatin1Char('\n');
        }
    }
    for (const QString& text : qAsConst(rest)) {
        complaint += QStringLiteral("not expected: ") + text + QLatin1Char('\n');
    }
    return complaint;
}

/** Puts a context in front of each text. */
inline QStringList inContext(const char* context, const QStringList& texts)
{
    QStringList result;
    for (const QString& text : texts) {
        result << QString::fromLatin1(context) + QLatin1Char('|') + text;
    }
    return result;
}
