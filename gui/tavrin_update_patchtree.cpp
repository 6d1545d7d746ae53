// The places at which QTreeWidget's time grows with the square of the number of its rows: filling it, and placing and
// painting the widgets in its rows. What is done instead has the same result, which tst_fill compares with the literal
// loop in a plain QTreeWidget.
#include "tavrin_update_patchtree.h"

#include <QEvent>
#include <QLabel>

namespace {

// Filling a visible tree row by row takes time that grows with the square of their number, because Qt runs a layout for
// each row. The rows between the first and the last few go in together; these few go in one by one, for two effects of
// the literal loop: the first ones reset the scroll position of a former list, and the last ones bring the scroll bar,
// which appears and narrows the labels one layout late. Both numbers were found by comparing all that can be seen with
// the result of the literal loop: there is no difference in the scenes of tst_fill, the 1,620 of tst_fill_many and
// 10,500 others. Two last rows were enough in all of them. Without the first rows 19 of the 56 scenes of tst_fill
// differ, without any single rows 49; layouts forced in their place left more than half of them different. 1,000
// patches take 0.11 to 0.23 s, with the literal loop 3.4 to 4.5 s; 10,000 take 1.3 to 2.2 s.
const int FIRST_ROWS_ADDED_SINGLY = 3;
const int LAST_ROWS_ADDED_SINGLY = 4;

} // namespace

void fillPatchTree(QTreeWidget& tree, const QList<QTreeWidgetItem*>& rows, const QList<QLabel*>& labels)
{
    Q_ASSERT(tree.topLevelItemCount() == 0 && rows.count() == labels.count());
    const int afterTogether = rows.count() - LAST_ROWS_ADDED_SINGLY;
    for (int i = 0; i < rows.count(); ++i) {
        if (i == FIRST_ROWS_ADDED_SINGLY && i < afterTogether) {
            tree.addTopLevelItems(rows.mid(i, afterTogether - i));
        }
        tree.addTopLevelItem(rows.at(i)); // does nothing when the row is in the tree already
        tree.setItemWidget(rows.at(i), 2, labels.at(i));
    }
}

bool TavrinUpdatePatchTree::holdsRowWidgets() const
{
    // The viewport's children can include widgets of a former list that are not deleted yet, so the rows are asked.
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
    // visualRect() runs a pending layout. Without row widgets QTreeWidget does not call it, and the layout stays
    // pending.
    if (!holdsRowWidgets()) {
        QTreeWidget::updateEditorGeometries();
        return;
    }
    // For the place of one row, QTreeWidget adds up the heights of all rows between it and the first visible one. Here
    // they are added up once for all rows.
    const int rows = topLevelItemCount();
    QVector<int> edges;
    edges.reserve(rows + 1);
    edges.append(QTreeWidget::visualRect(model()->index(0, 0)).top());
    for (int row = 0; row < rows; ++row) {
        Q_ASSERT(topLevelItem(row)->childCount() == 0 && !topLevelItem(row)->isHidden());
        edges.append(edges.last() + rowHeight(model()->index(row, 0)));
    }
    rowEdges = edges;
    QTreeWidget::updateEditorGeometries();
    rowEdges.clear();
}

QRect TavrinUpdatePatchTree::visualRect(const QModelIndex& index) const
{
    const bool isPlacing = index.row() + 1 < rowEdges.count();
    // The first column is indented and holds no widget.
    if (!isPlacing || !index.isValid() || index.column() == 0) {
        return QTreeWidget::visualRect(index);
    }
    const int top = rowEdges.at(index.row());
    return QRect(columnViewportPosition(index.column()), top, columnWidth(index.column()),
                 rowEdges.at(index.row() + 1) - top);
}

bool TavrinUpdatePatchTree::eventFilter(QObject* watched, QEvent* event)
{
    // A widget that was just shown asks to be painted, even outside the visible part, and Qt first compares its place
    // with all its siblings. An update of the viewport below it paints it without that comparison.
    if (event->type() == QEvent::UpdateLater && watched->parent() == viewport()) {
        viewport()->update(static_cast<QWidget*>(watched)->geometry());
        return true;
    }
    return QTreeWidget::eventFilter(watched, event);
}
