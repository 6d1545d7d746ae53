// The rules of a window run, from the page to the installed patches. The order of the steps is that of the events; what
// changes without an event is done together with the step before it or after it.
#include "window_model.h"

#include "expected_texts.h"
#include "fuzz_target.h"
#include "test_paths.h"

#include <QDir>
#include <QUrl>

namespace {

QString markOf(bool isApplied)
{
    return isApplied ? QStringLiteral("Y") : QStringLiteral("N");
}

// The separator is no character of a page.
const QChar IN_ROW = QChar(0x1f);

} // namespace

QString rowOf(const QString& name, const QString& mark, const QString& description)
{
    return name + IN_ROW + mark + IN_ROW + description;
}

QString boxEvent(const QString& text, const QString& details)
{
    return QStringLiteral("box:") + text + QLatin1Char('|') + details;
}

QString reasonOf(const NetworkAnswer& answer)
{
    if (answer.error != QNetworkReply::NoError) {
        return answer.errorText.isEmpty() ? QStringLiteral("Unknown error") : answer.errorText; // Qt's own text
    }
    const bool isCut = answer.status == 200 && !answer.inChunks && answer.body.size() < answer.announcedLength;
    return isCut ? QStringLiteral("Connection closed") : QString();
}

bool isRedirect(const NetworkAnswer& answer)
{
    return QList<int>{301, 302, 303, 305, 307, 308}.contains(answer.status);
}

QDir folderOr(const QString& name, const QString& otherwise)
{
    return QDir(QFileInfo(INSTALLATION + name).isDir() ? INSTALLATION + name : otherwise);
}

QString logEvent(const QString& text)
{
    return QStringLiteral("log:") + (text.endsWith(QLatin1Char('\n')) ? text.left(text.size() - 1) : text);
}

WindowModel::WindowModel(const WindowStart& windowStart)
    : start(windowStart), release(start.releaseIsOverridden ? QStringLiteral("5.8") : QStringLiteral("5.9"))
{
    currentUrl = start.url.isEmpty() ? defaultUrl() : start.url;
    window.urlText = currentUrl;
}

QString WindowModel::defaultUrl() const
{
    return QStringLiteral("http://") + patchServerHost() + QStringLiteral("/patches/") + release +
           QStringLiteral("/Linux_x86/");
}

int WindowModel::patchCount() const
{
    return patches.count();
}

bool WindowModel::updatesAreNeeded() const
{
    return needed > 0;
}

const ShownWindow& WindowModel::shown() const
{
    return window;
}

void WindowModel::setProceeds(bool userProceeds)
{
    proceeds = userProceeds;
}

// Steps and events.

QString WindowModel::nextEvent()
{
    require(!operations.empty(), "events come of operations");
    while (!operations.back().empty()) {
        const Step step = operations.back().front();
        operations.back().pop_front();
        const QString found = step();
        if (!found.isNull()) {
            return found;
        }
    }
    return QString();
}

void WindowModel::happens(const QString& event)
{
    compare(event, nextEvent(), "the next event");
}

void WindowModel::end()
{
    compare(QString(), nextEvent(), "the event that is missing");
    operations.pop_back();
}

// Puts steps before all others of the operation.
void WindowModel::next(const Steps& steps)
{
    operations.back().insert(operations.back().begin(), steps.begin(), steps.end());
}

WindowModel::Step WindowModel::event(const QString& text)
{
    return [text] {
        return text;
    };
}

WindowModel::Step WindowModel::log(const QString& text)
{
    return [this, text] {
        window.progress << logEvent(text).mid(4);
        return logEvent(text);
    };
}

WindowModel::Steps WindowModel::failure(const QString& text)
{
    return {event(QStringLiteral("fail:") + text), event(boxEvent(QStringLiteral("Tavrin Update Warning"), text))};
}

// The list.

void WindowModel::requestList(Steps& steps)
{
    steps.push_back([this] {
        patches.clear();
        lastListRequest = WindowSurroundings::current().requestCount - 1; // the request was made before its event
        const QString page = QUrl(currentUrl).isLocalFile() ? QStringLiteral("index.html") : QString();
        return QStringLiteral("get:list ") + QUrl(currentUrl + page).toString(QUrl::FullyEncoded);
    });
}

void WindowModel::setUrl(Steps& steps, const QString& text)
{
    window.rows.clear();
    window.progress.clear();
    QString url = text;
    if (QUrl(url).isLocalFile() && url.toLower().endsWith(QStringLiteral("/index.html"))) {
        url = url.left(url.size() - 10);
    }
    url += url.endsWith(QLatin1Char('/')) ? QString() : QStringLiteral("/");
    if (QUrl(url).isValid()) {
        currentUrl = url;
        requestList(steps);
    } else {
        window.progress << QStringLiteral("Url '%1' is invalid.\n%2").arg(url, QUrl(url).errorString());
    }
}

void WindowModel::beginExecute()
{
    Steps steps;
    requestList(steps);
    operations.push_back(steps);
}

void WindowModel::beginUrlEdit(const QString& text)
{
    Steps steps;
    window.urlText = text;
    setUrl(steps, text);
    operations.push_back(steps);
}

void WindowModel::beginAnswer(const OpenRequest& request, const NetworkAnswer& answer)
{
    operations.emplace_back();
    if (!request.isForList) {
        receiveArchive(request, answer);
    } else if (request.number == lastListRequest) {
        receiveList(request, answer); // and nothing comes of the answer to an earlier request
    }
}

void WindowModel::receiveList(const OpenRequest& request, const NetworkAnswer& answer)
{
    const QString address = request.reply->url().toDisplayString();
    const QString reason = reasonOf(answer);
    if (!reason.isNull()) {
        const bool isUnknown = answer.error == QNetworkReply::ProtocolUnknownError;
        const QString text = QStringLiteral("Failed to read patches from\n%1\n%2\n").arg(address, reason) +
                             (isUnknown ? "Begin your URL with 'http://' or, for local files, 'file:///'." : "");
        next({[this, text] {
            window.progress << text;
            return QStringLiteral("log:") + text;
        }});
        return;
    }
    if (isRedirect(answer)) {
        next(failure(QStringLiteral("Request was redirected.\n")));
        return;
    }
    const PageReading reading = readingOf(answer.body, address);
    for (const PageRecord& record : reading.records) {
        patches << Patch{record, false};
    }
    if (!reading.failure.isEmpty()) {
        next(failure(reading.failure));
        return;
    }
    next({[this] {
              determineApplied();
              return QStringLiteral("ready");
          },
          [this] {
              fillRows();
              refreshTable();
              return QString();
          }});
}

void WindowModel::determineApplied()
{
    const QStringList markers = folderOr(QStringLiteral("/patched"), INSTALLATION).entryList(QDir::Files, QDir::NoSort);
    const QSet<QString> names(markers.cbegin(), markers.cend());
    const bool isOther = start.releaseIsOverridden; // whose installation has no markers
    needed = 0;
    for (Patch& patch : patches) {
        patch.isApplied = !isOther && names.contains(patch.record.name);
        needed += patch.isApplied ? 0 : 1;
    }
}

// What the window shows.

void WindowModel::fillRows()
{
    window.rows.clear();
    for (const Patch& patch : qAsConst(patches)) {
        const QString& name = patch.record.name;
        if (patches.count() == 1 || !name.toLower().startsWith(QStringLiteral("trialpatch"))) {
            window.rows << rowOf(name, markOf(patch.isApplied), patch.record.description.simplified());
        }
    }
}

void WindowModel::refreshMarks()
{
    for (const Patch& patch : qAsConst(patches)) {
        const QString prefix = patch.record.name + IN_ROW;
        const auto row = std::find_if(window.rows.begin(), window.rows.end(),
                                      [&prefix](const QString& text) { return text.startsWith(prefix); });
        if (row != window.rows.end()) {
            *row = rowOf(patch.record.name, markOf(patch.isApplied), row->section(IN_ROW, 2));
        }
    }
    enableApply();
}

void WindowModel::refreshTable()
{
    isSafe = true;
    window.systems.clear();
    for (const Pidrtsys& system : WindowSurroundings::current().systems) {
        const bool conflict = release == QString::fromUtf8(system.version);
        isSafe = isSafe && !conflict;
        window.systems << QString::fromUtf8(system.version) + (conflict ? " **Conflict**" : " No Conflict");
    }
    enableApply();
}

void WindowModel::enableApply()
{
    window.warningIsHidden = needed == 0 || isSafe;
    window.noUpdatesIsHidden = needed > 0;
    window.applyIsEnabled = needed > 0 && (isSafe || overrideIsChecked);
}

void WindowModel::beginTableRefresh()
{
    operations.emplace_back();
    refreshTable();
}

void WindowModel::beginOverrideClick(bool isChecked)
{
    operations.emplace_back();
    overrideIsChecked = isChecked;
    enableApply();
}

// Downloads.

void WindowModel::beginApply()
{
    Steps steps;
    window.progress.clear();
    if (!isSafe) {
        steps.push_back(event(boxEvent(CONFLICT_QUESTION)));
        steps.push_back([this] {
            if (!proceeds) {
                operations.back().clear();
            }
            return QString();
        });
    }
    if (start.releaseIsOverridden) {
        steps.push_back(event(boxEvent("*** WARNING: Your environment is for Tavrin release '5.9', but you are running "
                                       "tavrin_update with a release override of '5.8'.\nPatches will be listed but "
                                       "not applied.\n")));
        steps.push_back([this] {
            window.progress << QString::fromUtf8(STEPS_HEADING);
            return QString();
        });
    }
    const Steps rest = applySteps();
    steps.insert(steps.end(), rest.begin(), rest.end());
    operations.push_back(steps);
}
