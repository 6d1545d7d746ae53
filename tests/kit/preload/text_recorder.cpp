// Preloaded into the program to see which texts it translates: each text that is looked up is appended to the file that
// TEXT_RECORD names, as "context|text" with a NUL behind it.
#include "recording_translator.h"

#include <QCoreApplication>

#include <cstdlib>
#include <fstream>

namespace {

class TextRecorder : public RecordingTranslator
{
public:
    explicit TextRecorder(QObject* parent) : RecordingTranslator(lettersExchanged, parent)
    {
    }

protected:
    void note(const QString& text) const override
    {
        std::ofstream record(std::getenv("TEXT_RECORD"), std::ios::app);
        record << text.toStdString() << '\0' << std::flush;
        if (!record) {
            qFatal("cannot write the record of texts");
        }
    }
};

void installRecorder()
{
    QCoreApplication::installTranslator(new TextRecorder(QCoreApplication::instance()));
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(installRecorder)
