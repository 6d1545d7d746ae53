// Two windows over one business logic: one fills its own tree of patches, the other shows a plain QTreeWidget instead,
// which a plain loop fills item by item. Everything visible in the two trees is compared.
#pragma once

#include "tavrin_update_bl.h"
#include "tavrin_update_mainwindow.h"
#include "tavrin_update_widget.h"

#include <QByteArray>
#include <QTreeWidget>

/** How long the descriptions of a list are. */
enum class Descriptions
{
    Short,  // a line each
    Medium, // two or three lines each
    Mixed   // one line to many
};

/** The patches of a list. Those before the first missing one are applied, and some after it. */
struct PatchList
{
    int count;
    int firstMissing; // all are applied when it is not below the count
    Descriptions descriptions;
};

Q_DECLARE_METATYPE(PatchList)

/** "12 patches, the first 3 applied, mixed". */
QByteArray describe(const PatchList& list);

class FillComparison
{
public:
    /** Makes both windows, which are not shown. */
    explicit FillComparison(int height);

    void setVisible(bool visible);

    /** Adds patches to those that the next filling shows. */
    void add(const PatchList& list);

    /** Sets the scroll position of both trees, counted from the end. */
    void scrollUpFromEnd(int steps);

    /** Changes the size of both windows, or the width of the first column in both trees, and has them lay out again. */
    void resize(int width, int height);
    void resizeFirstColumn(int width);

    /** Fills both trees. */
    void fill();

    /** What differs between the trees, without a layout; empty when nothing does. */
    QString difference();

    /** What differs between the places of the items; reading them runs a pending layout. */
    QString differenceOfPlaces();

    /** difference() and then differenceOfPlaces(). */
    QString wholeDifference();

    /**
     * Fills both trees with a list, scrolls them, and fills them with another one: directly, or with an empty tree
     * shown in between, as after a change of the address. Returns what differs before or after the pending layouts.
     */
    QString differenceOnRefill(const PatchList& former, int stepsFromEnd, bool viaEmptyTree, const PatchList& list);

private:
    struct Window
    {
        explicit Window(TavrinUpdateBusinessLogic& logic);

        TavrinUpdateMainWindow window;
        TavrinUpdateWidget* widget;
        QTreeWidget* tree;
    };

    void fillPlainly();

    TavrinUpdateBusinessLogic logic;
    Window plain;
    Window quick;
};
