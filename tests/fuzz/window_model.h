// A second form of the window's run, to compare the real one with: what it knows, and which event has to come next. The
// real object can handle one reply while it waits in the message box of another, so what has to happen is kept as
// steps: each operation of the input begins a list of them, and each event takes the top list to its next event. A step
// is done as late as possible, when the real object has reached its place, and reads the files as they then are.
#pragma once

#include "page_model.h"
#include "window_surroundings.h"

#include <QDir>
#include <QFileInfo>
#include <QSet>

#include <deque>

/** How the window was started. */
struct WindowStart
{
    bool releaseIsOverridden = false;
    bool isVerbose = false;
    QString url; // empty for the default
};

/** What the window shows, as far as it follows from the events. */
struct ShownWindow
{
    QStringList rows; // see rowOf()
    QStringList progress;
    QStringList systems; // version and conflict
    QString urlText;
    bool applyIsEnabled = true;
    bool warningIsHidden = true;
    bool noUpdatesIsHidden = true;
};

/** What has to happen, operation by operation. */
class WindowModel
{
public:
    explicit WindowModel(const WindowStart& start);

    // Each begins what an operation leads to; the operation itself comes next, and end() when it has returned.
    void beginExecute();
    void beginUrlEdit(const QString& text);
    void beginAnswer(const OpenRequest& request, const NetworkAnswer& answer);
    void beginTableRefresh();
    void beginOverrideClick(bool isChecked);
    void beginApply();
    void end();

    /** Compares what happened with what has to happen next. */
    void happens(const QString& event);

    /** What the user presses in the box that asks whether to go on beside a running system. */
    void setProceeds(bool proceeds);

    QString defaultUrl() const;
    int patchCount() const;
    bool updatesAreNeeded() const;
    const ShownWindow& shown() const;

private:
    using Step = std::function<QString()>; // returns an event, or null when there is none at this place
    using Steps = std::deque<Step>;

    struct Patch
    {
        PageRecord record;
        bool isApplied;
    };

    QString nextEvent();
    void next(const Steps& steps);
    static Step event(const QString& text);
    Step log(const QString& text);
    static Steps failure(const QString& text);

    void requestList(Steps& steps);
    void setUrl(Steps& steps, const QString& text);
    void receiveList(const OpenRequest& request, const NetworkAnswer& answer);
    void receiveArchive(const OpenRequest& request, const NetworkAnswer& answer);
    void determineApplied();
    void fillRows();
    void refreshMarks();
    void refreshTable();
    void enableApply();

    Steps applySteps();
    Steps storeSteps(const QUrl& url, const QByteArray& body);
    Steps installSteps();
    Steps unpackSteps(const QFileInfo& archive);
    Steps extractSteps(const QFileInfo& archive);
    Steps markSteps(const QFileInfo& archive);
    Steps pageSteps();
    Steps startSteps(const QString& program, const QStringList& arguments);

    WindowStart start;
    QString release;
    QString currentUrl;
    QList<Patch> patches;
    int needed = 0;
    bool isSafe = true;
    bool overrideIsChecked = false;
    bool proceeds = true;
    int lastListRequest = -1;
    QList<int> downloads;
    std::vector<Steps> operations;
    ShownWindow window;
};

/** Why an answer is no body; empty when it is one. */
QString reasonOf(const NetworkAnswer& answer);

/** Whether a whole answer sends elsewhere. */
bool isRedirect(const NetworkAnswer& answer);

/** A folder of the installation or, when it is not there, another one. */
QDir folderOr(const QString& name, const QString& otherwise);

/** How a text arrives in the window's progress. */
QString logEvent(const QString& text);

/** The texts of the message boxes, as events. */
QString boxEvent(const QString& text, const QString& details = QString());

/** A row of the patches shown. */
QString rowOf(const QString& name, const QString& mark, const QString& description);
