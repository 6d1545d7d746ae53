// The tree of patches: a QTreeWidget that stays quick with a widget in each of thousands of rows. Qt places and paints
// such widgets in time that grows with the square of their number, at every layout; here it grows with the number.
// Everything ends up where QTreeWidget would have put it. The rows have no children and none of them is hidden.
#pragma once

#include <QTreeWidget>
#include <QVector>

/** It has no meta-object of its own: to Qt and to whoever looks it up it is a QTreeWidget. */
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

    QVector<int> rowEdges; // the top of each row and the bottom of the last; empty but while widgets are being placed
};
