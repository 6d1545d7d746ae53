// The tree of patches: a QTreeWidget that stays quick with a widget in each of thousands of rows. Qt inserts, places
// and paints such rows in time that grows with the square of their number; here it grows with their number. Everything
// ends up where QTreeWidget would have put it. The rows have no children and none of them is hidden.
#pragma once

#include <QList>
#include <QTreeWidget>
#include <QVector>

class QLabel;

/** It has no meta-object of its own, so that its class name remains QTreeWidget. */
class TavrinUpdatePatchTree : public QTreeWidget
{
public:
    using QTreeWidget::QTreeWidget;

    QRect visualRect(const QModelIndex& index) const override;
    bool eventFilter(QObject* watched, QEvent* event) override;

protected:
    void updateEditorGeometries() override;

private:
    bool holdsRowWidgets() const;

    QVector<int> rowEdges; // the top of each row and the bottom of the last; filled only while widgets are placed
};

/**
 * Fills an empty tree with the rows, each with its label in column 2. The result, pending layouts included, is that of
 * adding row by row.
 */
void fillPatchTree(QTreeWidget& tree, const QList<QTreeWidgetItem*>& rows, const QList<QLabel*>& labels);
