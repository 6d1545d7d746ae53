// The table of running systems: a QTableWidget that the Tab key can leave. In a QTableWidget the key moves from cell to
// cell and from the last one back to the first. The table is filled again every second, which resets the current cell,
// so a user who pauses would not even reach the last one.
#pragma once

#include <QPersistentModelIndex>
#include <QTableWidget>

/** It has no meta-object of its own, so that its class name remains QTableWidget. */
class TavrinUpdateSystemTable : public QTableWidget
{
public:
    using QTableWidget::QTableWidget;

protected:
    /**
     * Moves to the next or previous cell. At the end of the table, without a current cell, or when the cell that the
     * last such move reached is gone, the focus moves to the next or previous widget.
     */
    bool focusNextPrevChild(bool next) override;
    void focusInEvent(QFocusEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

private:
    bool isLeftBy(bool next) const;

    bool reachedByTab = false;         // the last thing that the user did here was to press Tab
    QPersistentModelIndex reachedCell; // becomes invalid when the table is filled again
};
