// What the window shows, read from its widgets and compared with the model. Some texts of the progress are taken for
// rich text, so the same texts are given to another field of that kind, and what both show is compared.
#pragma once

#include "fuzz_target.h"
#include "tavrin_update_widget.h"
#include "window_model.h"

#include <QTextEdit>

/** The parts of one window. */
class WindowView
{
public:
    explicit WindowView(const TavrinUpdateWidget& window);

    /** The part of this type and name. */
    template <typename Part>
    Part* part(const char* name) const
    {
        auto* found = widget.findChild<Part*>(QString::fromLatin1(name));
        require(found != nullptr, name);
        return found;
    }

    /** Ends the process when something else is shown. */
    void check(const ShownWindow& shown);

private:
    void checkProgress(const QStringList& texts);
    QStringList rows() const;
    QStringList systems() const;

    const TavrinUpdateWidget& widget;
    QTextEdit otherProgress;
    QStringList progressSoFar;
};
