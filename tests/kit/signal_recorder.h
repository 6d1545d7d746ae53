// What the business logic signals during a run, for tests that compare whole runs. Header-only, so that the kit itself
// does not depend on the logic.
#pragma once

#include "tavrin_update_bl.h"

#include <QObject>
#include <QStringList>

/** Notes the signals of a business logic in order: "log:" and "fail:" with their texts, and "status". */
class SignalRecorder : public QObject
{
public:
    explicit SignalRecorder(TavrinUpdateBusinessLogic& logic)
    {
        using Logic = TavrinUpdateBusinessLogic;
        connect(&logic, &Logic::appendProgress, this, [this](const QString& text) { events << "log:" + text; });
        connect(&logic, &Logic::processFailed, this, [this](const QString& text) { events << "fail:" + text; });
        connect(&logic, &Logic::updatePatchStatus, this, [this] { events << "status"; });
    }

    QStringList events;
};
