// How the Tab key moves through the table of running systems and out of it. Every other key, a click and the return of
// the focus start from the current cell again.
#include "tavrin_update_systemtable.h"

bool TavrinUpdateSystemTable::focusNextPrevChild(bool next)
{
    // The override of QAbstractItemView moves from cell to cell. The one before it moves the focus to another widget.
    const bool hasMoved = isLeftBy(next)
                              ? QAbstractScrollArea::focusNextPrevChild(next) // NOLINT(bugprone-parent-virtual-call)
                              : QTableWidget::focusNextPrevChild(next);
    reachedCell = currentIndex();
    reachedByTab = true;
    return hasMoved;
}

bool TavrinUpdateSystemTable::isLeftBy(bool next) const
{
    const QModelIndex cell = currentIndex();
    if (!cell.isValid() || (reachedByTab && !reachedCell.isValid())) {
        return true;
    }
    return next ? cell.row() == rowCount() - 1 && cell.column() == columnCount() - 1
                : cell.row() == 0 && cell.column() == 0;
}

void TavrinUpdateSystemTable::focusInEvent(QFocusEvent* event)
{
    reachedByTab = false;
    QTableWidget::focusInEvent(event);
}

void TavrinUpdateSystemTable::keyPressEvent(QKeyEvent* event)
{
    reachedByTab = false; // set again where focusNextPrevChild() of the base class calls this for Tab
    QTableWidget::keyPressEvent(event);
}

void TavrinUpdateSystemTable::mousePressEvent(QMouseEvent* event)
{
    reachedByTab = false;
    QTableWidget::mousePressEvent(event);
}
