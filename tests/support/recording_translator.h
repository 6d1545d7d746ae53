// Sees which of the program's texts go through a translation call, and in which context. Header-only: a test installs
// it in its own process, and the preloaded text_recorder.cpp in the program.
#pragma once

#include <QString>
#include <QStringList>
#include <QTranslator>

#include <cstring>

/**
 * Notes each text of the program's own that is looked up and answers it with small and capital letters exchanged, so
 * that a text that was not looked up cannot pass for one that was. Qt's own texts stay as they are.
 */
class RecordingTranslator : public QTranslator
{
public:
    using QTranslator::QTranslator;

    QString translate(const char* context, const char* sourceText, const char* disambiguation, int n) const override
    {
        Q_UNUSED(disambiguation)
        Q_UNUSED(n)
        if (!isOurs(context)) {
            return QString();
        }
        const QString text = QString::fromUtf8(sourceText);
        note(QString::fromLatin1(context) + QLatin1Char('|') + text);
        return answerTo(text);
    }

    /** What a text is translated to. */
    static QString answerTo(const QString& text)
    {
        QString answer;
        for (const QChar letter : text) {
            answer += letter.isLower() ? letter.toUpper() : letter.toLower();
        }
        return answer;
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
    static bool isOurs(const char* context)
    {
        return std::strstr(context, "Tavrin") != nullptr || std::strcmp(context, "main") == 0 ||
               std::strcmp(context, "QApplication") == 0 || std::strcmp(context, "QCoreApplication") == 0;
    }

    mutable QStringList texts;
};

/** Expected texts that were not looked up, and others that were, each as often as it is so; empty when all is well. */
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
