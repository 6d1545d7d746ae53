// The three places at which QTreeWidget's time grows with the square of the number of its row widgets.
#include "tavrin_update_patchtree.h"

#include <QEvent>

bool TavrinUpdatePatchTree::holdsRowWidgets() const
{
    // The widgets of a former list are still children of the viewport for a while; only the rows know.
    for (int row = 0; row < topLevelItemCount(); ++row) {
        for (int column = 0; column < columnCount(); ++column) {
            if (indexWidget(model()->index(row, column)) != nullptr) {
                return true;
            }
        }
    }
    return false;
}

void TavrinUpdatePatchTree::updateEditorGeometries()
{
    // To ask for the place of a row runs a layout that is still pending, and without a widget QTreeWidget does not ask.
    if (!holdsRowWidgets()) {
        QTreeWidget::updateEditorGeometries();
        return;
    }
    // Asked for the place of a row, QTreeWidget adds up the heights of all rows between it and the first in view. Here
    // they are added up once.
    const int rows = topLevelItemCount();
    QVector<int> edges;
    edges.reserve(rows + 1);
    edges.append(QTreeWidget::visualRect(model()->index(0, 0)).top());
    for (int row = 0; row < rows; ++row) {
        edges.append(edges.last() + rowHeight(model()->index(row, 0)));
    }
    rowEdges = edges;
    QTreeWidget::updateEditorGeometries();
    rowEdges.clear();
}

QRect TavrinUpdatePatchTree::visualRect(const QModelIndex& index) const
{
    const bool isPlacing = index.row() + 1 < rowEdges.count();
    // The first column is indented, and holds no widget.
    if (!isPlacing || !index.isValid() || index.column() == 0) {
        return QTreeWidget::visualRect(index);
    }
    const int top = rowEdges.at(index.row());
    return QRect(columnViewportPosition(index.column()), top, columnWidth(index.column()),
                 rowEdges.at(index.row() + 1) - top);
}

bool TavrinUpdatePatchTree::eventFilter(QObject* watched, QEvent* event)
{
    // A widget that was just shown has itself painted, in view or not, and is checked against all its siblings first.
    // What it stands on can paint it as well.
    if (event->type() == QEvent::UpdateLater && watched->parent() == viewport()) {
        viewport()->update(static_cast<QWidget*>(watched)->geometry());
        return true;
    }
    return QTreeWidget::eventFilter(watched, event);
}
