// The list of patches: the parser of its page, the records with their shared cursor, and whether a running system
// conflicts. The page is read as a stream of tokens and must be well-formed markup. Nothing here prints, requests a
// page or ends the process.
#include "tavrin_update_bl.h"

#include "tavrin_update_systeminfo.h"

#include <QXmlStreamReader>

#include <utility>

namespace {

// A copy of the exact size. QStringRef::toString() can return the reader's whole buffer with the room that it has for
// longer texts.
QString copyOf(const QStringRef& text)
{
    return QString(text.data(), text.size());
}

// How many characters entities and default attributes may add to a page. Without a limit, a page of a megabyte could
// grow beyond all memory.
constexpr int MOST_EXPANSION = 1 << 24;

// Whether the page declares nothing before its first element, which is plain from the beginning of an ordinary page.
bool declaresNothing(QIODevice& source)
{
    QXmlStreamReader beginning(source.peek(1 << 12));
    while (!beginning.atEnd()) {
        switch (beginning.readNext()) {
        case QXmlStreamReader::StartElement:
            return true;
        case QXmlStreamReader::DTD:
            return !beginning.text().contains(QLatin1Char('['));
        default:
            break;
        }
    }
    return false;
}

// The reader limits only each entity, so a page with very many references gets a lower limit. Before Qt 5.15 it has no
// limit.
void limitExpansion(QXmlStreamReader& page)
{
    QIODevice* source = page.device();
    if (declaresNothing(*source)) {
        return; // spares reading a large page twice
    }
    const QByteArray bytes = source->peek(source->bytesAvailable());
    const int references = bytes.count('&') + bytes.count('%');
#if QT_VERSION >= QT_VERSION_CHECK(5, 15, 0)
    page.setEntityExpansionLimit(qMin(page.entityExpansionLimit(), MOST_EXPANSION / qMax(1, references)));
#else
    Q_UNUSED(references)
#endif
}

} // namespace

void TavrinUpdateBusinessLogic::refreshRealTimeSystems()
{
    Pidrtsys* systems = nullptr;
    const int count = TavrinUpdateSystemInfo::getRunningRealTimeSystems(&systems);
    noRealTimeConflict = true;
    if (systems == nullptr) {
        return;
    }
    for (int i = 0; i < count; ++i) {
        if (fieldText(systems[i].version) == release) {
            noRealTimeConflict = false;
            break;
        }
    }
    delete systems; // required: not delete[], though it is an array; the record's operators free both alike
}

QString TavrinUpdateBusinessLogic::parsePatchList(QNetworkReply* reply)
{
    QXmlStreamReader page(reply);
    limitExpansion(page);
    QString failure = findListMarker(page, reply->url().toDisplayString());
    if (failure.isEmpty()) {
        failure = readEntries(page);
    }
    return failure;
}

// Reads up to the comment that begins the list of patches, without which the page is not a list.
QString TavrinUpdateBusinessLogic::findListMarker(QXmlStreamReader& page, const QString& url)
{
    bool markerFound = false;
    while (!markerFound && !page.atEnd()) {
        markerFound = page.readNext() == QXmlStreamReader::Comment &&
                      page.text().toString().simplified().toLower().contains(NEW_PATCH_HEADER);
    }
    if (page.hasError()) {
        return tr("Failed to find list of patches in page source at %1:\n%2\n").arg(url, page.errorString());
    }
    if (!markerFound) {
        return tr("Failed to find list of patches in page source at %1").arg(url);
    }
    return NO_ERROR;
}

QString TavrinUpdateBusinessLogic::readEntries(QXmlStreamReader& page)
{
    enum class Entry
    {
        Outside,
        ListItem,
        BlockQuote
    };
    Entry entry = Entry::Outside;
    QString heading;
    QString link;
    int defaultLength = 0; // of all links that come from a declaration and not from the list
    while (!page.atEnd()) {
        const QXmlStreamReader::TokenType token = page.readNext();
        if (token == QXmlStreamReader::StartElement) {
            if (page.name() == QLatin1String("li")) {
                entry = Entry::ListItem;
            } else if (page.name() == QLatin1String("blockquote")) {
                entry = Entry::BlockQuote;
            }
            // Required: links add up until an entry is complete, whichever elements carry them.
            const QXmlStreamAttributes attributes = page.attributes();
            for (const QXmlStreamAttribute& attribute : attributes) {
                if (attribute.qualifiedName() == HREF_ATTRIBUTE) {
                    link += attribute.value();
                    defaultLength += attribute.isDefault() ? attribute.value().size() : 0;
                }
            }
            if (defaultLength > MOST_EXPANSION) {
                page.raiseError(tr("The links that elements have by default are too long."));
            }
            continue;
        }
        if (token != QXmlStreamReader::Characters || entry == Entry::Outside) {
            continue;
        }
        const QStringRef trimmed = page.text().trimmed();
        if (trimmed.isEmpty()) {
            continue;
        }
        const QString text = copyOf(trimmed);
        if (entry == Entry::ListItem) {
            heading = text;
            continue;
        }
        QString name = heading.left(heading.indexOf(QLatin1Char(' ')));
        if (name.isEmpty()) {
            return tr("Error obtaining patch name for patch ") + heading + QLatin1Char(' ') + text;
        }
        if (link.isEmpty()) {
            return tr("Error obtaining tar file name for patch ") + heading + QLatin1Char(' ') + text;
        }
        // Trial patches are published under varying names and recorded in the installation under this one.
        const QString trialPatch = QStringLiteral("TrialPatch");
        if (name.startsWith(trialPatch)) {
            name = trialPatch;
        }
        link.squeeze();
        // Required: the first text of the quote is the description; what follows a child element is dropped.
        addPatchToList(name, heading, false, link, text);
        heading.clear();
        link.clear();
        entry = Entry::Outside;
    }
    return page.hasError() ? page.errorString() : NO_ERROR;
}

void TavrinUpdateBusinessLogic::addPatchToList(QString name, QString heading, bool applied, QString tarFileName,
                                               QString description)
{
    patches.append(
        PatchInfo(std::move(name), std::move(heading), applied, std::move(tarFileName), std::move(description)));
}

TavrinUpdateBusinessLogic::PatchInfo::PatchInfo(QString patchName, QString patchHeading, bool patchApplied,
                                                QString patchTarFileName, QString patchDescription)
    : name(std::move(patchName))
    , heading(std::move(patchHeading))
    , applied(patchApplied)
    , tarFileName(std::move(patchTarFileName))
    , description(std::move(patchDescription))
{
}

bool TavrinUpdateBusinessLogic::nextPatch()
{
    if (!patchCursorValid) {
        currentPatch = patches.constBegin();
        patchCursorValid = true;
    } else {
        ++currentPatch;
        ++patchIndex;
    }
    if (currentPatch == patches.constEnd()) {
        patchIndex = 0;
        patchCursorValid = false;
        return false;
    }
    return true;
}

void TavrinUpdateBusinessLogic::setPatchApplied(bool applied)
{
    patches[patchIndex].applied = applied;
}

bool TavrinUpdateBusinessLogic::cursorIsOnPatch() const
{
    return patchCursorValid && currentPatch != patches.constEnd();
}

QString TavrinUpdateBusinessLogic::getPatchName() const
{
    return cursorIsOnPatch() ? currentPatch->name : QStringLiteral(" ");
}

QString TavrinUpdateBusinessLogic::getTarFileName() const
{
    return cursorIsOnPatch() ? currentPatch->tarFileName : QStringLiteral(" ");
}

QString TavrinUpdateBusinessLogic::getPatchDescription() const
{
    return cursorIsOnPatch() ? currentPatch->description : QStringLiteral(" ");
}

QString TavrinUpdateBusinessLogic::getPatchDate() const
{
    if (!cursorIsOnPatch()) {
        return QStringLiteral(" ");
    }
    const QString& heading = currentPatch->heading;
    // Required: the date of a heading without a blank is the whole heading.
    return heading.mid(qMax(0, heading.indexOf(QLatin1Char(' '))));
}

bool TavrinUpdateBusinessLogic::patchIsInstalled() const
{
    return cursorIsOnPatch() && currentPatch->applied;
}

int TavrinUpdateBusinessLogic::getPatchCount() const
{
    return patches.count();
}

bool TavrinUpdateBusinessLogic::updatesNeeded() const
{
    return patchesNeeded >= 1;
}

QString TavrinUpdateBusinessLogic::formatPatchDescription(QString text) const
{
    text = text.trimmed();
    if (!options.terminal) {
        return text.simplified();
    }
    return QLatin1Char('\t') + text.replace(QLatin1Char('\n'), QStringLiteral("\n\t"));
}
