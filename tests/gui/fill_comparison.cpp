// The plain loop and the looks at a tree. The plain tree is a QTreeWidget with the form's settings and nothing of the
// window's own tree, so that what the latter overrides is compared as well.
#include "fill_comparison.h"

#include <QCoreApplication>
#include <QHeaderView>
#include <QLabel>
#include <QScrollBar>
#include <QVBoxLayout>

namespace {

QString descriptionOf(int number, Descriptions descriptions)
{
    const QString sentence = QStringLiteral("Corrects a fault in the conversion of records.\n  ");
    switch (descriptions) {
    case Descriptions::Short:
        return sentence;
    case Descriptions::Medium:
        return sentence.repeated(4);
    case Descriptions::Mixed:
        break;
    }
    return sentence.repeated(1 + number % 12);
}

QTreeWidget* newPlainTree(QWidget* parent)
{
    auto* tree = new QTreeWidget(parent);
    tree->setColumnCount(3);
    tree->setHeaderLabels({"Patch", "Applied?", "Description"});
    tree->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    tree->setEditTriggers(QAbstractItemView::NoEditTriggers);
    tree->setSelectionMode(QAbstractItemView::NoSelection);
    tree->setRootIsDecorated(false);
    tree->header()->setDefaultSectionSize(75);
    tree->header()->setMinimumSectionSize(10);
    return tree;
}

QString text(const QRect& rect)
{
    return QStringLiteral("%1,%2 %3x%4").arg(rect.x()).arg(rect.y()).arg(rect.width()).arg(rect.height());
}

QString describe(const QScrollBar* bar)
{
    return QStringLiteral("bar visible %1 value %2 of %3..%4 page %5 step %6 at %7")
        .arg(bar->isVisible())
        .arg(bar->value())
        .arg(bar->minimum())
        .arg(bar->maximum())
        .arg(bar->pageStep())
        .arg(bar->singleStep())
        .arg(text(bar->geometry()));
}

/** All that can be seen of the tree. */
QStringList describe(QTreeWidget* tree)
{
    QStringList lines;
    lines << QStringLiteral("policy %1 viewport %2 tree %3")
                 .arg(tree->verticalScrollBarPolicy())
                 .arg(text(tree->viewport()->geometry()), text(tree->geometry()));
    lines << describe(tree->verticalScrollBar()) << describe(tree->horizontalScrollBar());
    lines << QStringLiteral("columns %1 %2 %3")
                 .arg(tree->columnWidth(0))
                 .arg(tree->columnWidth(1))
                 .arg(tree->columnWidth(2));
    for (int i = 0; i < tree->topLevelItemCount(); ++i) {
        QTreeWidgetItem* item = tree->topLevelItem(i);
        const auto* label = qobject_cast<QLabel*>(tree->itemWidget(item, 2));
        const bool isCurrent = tree->currentItem() == item;
        const QMargins margins = label->contentsMargins();
        lines << QStringLiteral("flags %1 current %2 format %3 wrap %4 in viewport %5 margins %6 %7 %8")
                     .arg(int(item->flags()))
                     .arg(isCurrent)
                     .arg(label->textFormat())
                     .arg(label->wordWrap())
                     .arg(label->parentWidget() == tree->viewport())
                     .arg(margins.left())
                     .arg(margins.right())
                     .arg(margins.bottom());
        lines << QStringLiteral("%1|%2|%3, type %4, label '%5' at %6 visible %7, margins %8")
                     .arg(item->text(0), item->text(1), item->text(2))
                     .arg(item->type())
                     .arg(label->text(), text(label->geometry()))
                     .arg(label->isVisible())
                     .arg(label->contentsMargins().top());
    }
    return lines;
}

QStringList placesOfItems(QTreeWidget* tree)
{
    QStringList lines;
    for (int i = 0; i < tree->topLevelItemCount(); ++i) {
        lines << text(tree->visualItemRect(tree->topLevelItem(i)));
    }
    return lines;
}

/** The first lines that differ, each with what the plain loop has. */
QString differenceOf(const QStringList& lines, const QStringList& expected)
{
    QString difference;
    int shown = 0;
    for (int i = 0; i < qMax(lines.count(), expected.count()) && shown < 5; ++i) {
        if (lines.value(i) != expected.value(i)) {
            difference += QStringLiteral("\n%1\n  instead of\n%2").arg(lines.value(i), expected.value(i));
            ++shown;
        }
    }
    return difference;
}

} // namespace

QByteArray describe(const PatchList& list)
{
    const QByteArray applied =
        list.firstMissing < list.count ? "the first " + QByteArray::number(list.firstMissing) : QByteArray("all");
    const char* const kinds[] = {"short", "medium", "mixed"};
    return QByteArray::number(list.count) + " patches, " + applied + " applied, " +
           kinds[static_cast<int>(list.descriptions)];
}

FillComparison::Window::Window(TavrinUpdateBusinessLogic& logic)
    : window(logic)
    , widget(window.findChild<TavrinUpdateWidget*>())
    , tree(window.findChild<QTreeWidget*>("updatesTreeWidget"))
{
    QObject::disconnect(&logic, nullptr, widget, nullptr);
}

FillComparison::FillComparison(int height) : logic("tavrin_update"), plain(logic), quick(logic)
{
    // The widget goes on with the former tree, which no one sees.
    QTreeWidget* former = plain.tree;
    plain.tree = newPlainTree(former->parentWidget());
    delete plain.window.findChild<QVBoxLayout*>("verticalLayout")->replaceWidget(former, plain.tree);
    former->hide();
    for (Window* each : {&plain, &quick}) {
        each->window.resize(700, height);
    }
}

void FillComparison::setVisible(bool visible)
{
    for (Window* each : {&plain, &quick}) {
        each->window.setVisible(visible);
    }
}

void FillComparison::add(const PatchList& list)
{
    for (int i = 0; i < list.count; ++i) {
        const QString name = QStringLiteral("P%1").arg(i);
        const bool isApplied = i < list.firstMissing || (i > list.firstMissing && i % 3 == 0);
        logic.addPatchToList(name, name + " 1 Jan 2020", isApplied, name + ".tar", descriptionOf(i, list.descriptions));
    }
}

void FillComparison::scrollUpFromEnd(int steps)
{
    for (Window* each : {&plain, &quick}) {
        QScrollBar* bar = each->tree->verticalScrollBar();
        bar->setValue(bar->maximum() - steps);
    }
}

void FillComparison::resize(int width, int height)
{
    for (Window* each : {&plain, &quick}) {
        each->window.resize(width, height);
    }
    QCoreApplication::processEvents();
}

void FillComparison::resizeFirstColumn(int width)
{
    for (Window* each : {&plain, &quick}) {
        each->tree->setColumnWidth(0, width);
    }
    QCoreApplication::processEvents();
}

void FillComparison::fill()
{
    fillPlainly();
    QMetaObject::invokeMethod(plain.widget, "refreshRealTimeSystemTable");
    QMetaObject::invokeMethod(quick.widget, "populateUpdateList");
}

void FillComparison::fillPlainly()
{
    QTreeWidget* tree = plain.tree;
    tree->clear();
    QTreeWidgetItem* firstNotInstalled = nullptr;
    const bool onlyOne = logic.getPatchCount() == 1;
    while (logic.nextPatch()) {
        if (!onlyOne && logic.getPatchName().toLower().startsWith("trialpatch")) {
            continue;
        }
        auto* item = new QTreeWidgetItem(tree, {logic.getPatchName(), logic.patchIsInstalled() ? "Y" : "N"});
        auto* label = new QLabel(logic.getPatchDescription().simplified());
        label->setTextFormat(Qt::PlainText);
        label->setContentsMargins(0, 4, 0, 4);
        label->setWordWrap(true);
        tree->setItemWidget(item, 2, label);
        tree->addTopLevelItem(item);
        if (firstNotInstalled == nullptr && !logic.patchIsInstalled()) {
            firstNotInstalled = item;
        }
    }
    if (firstNotInstalled != nullptr) {
        tree->scrollToItem(firstNotInstalled, QAbstractItemView::EnsureVisible);
    }
    if (tree->verticalScrollBar()->isVisible()) {
        tree->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    }
}

QString FillComparison::difference()
{
    return differenceOf(describe(quick.tree), describe(plain.tree));
}

QString FillComparison::differenceOfPlaces()
{
    return differenceOf(placesOfItems(quick.tree), placesOfItems(plain.tree));
}

void FillComparison::forgetPatches()
{
    logic.requestUpdatesList(); // without an address no list comes
}

QString FillComparison::differenceOnRefill(const PatchList& former, int stepsFromEnd, bool viaEmptyTree,
                                           const PatchList& list)
{
    for (Window* each : {&plain, &quick}) {
        each->tree->setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded); // as in a new window
    }
    forgetPatches();
    add(former);
    fill();
    QCoreApplication::processEvents();
    scrollUpFromEnd(stepsFromEnd);
    if (viaEmptyTree) {
        for (Window* each : {&plain, &quick}) {
            each->tree->clear();
        }
        QCoreApplication::processEvents();
    }
    forgetPatches();
    add(list);
    fill();
    const QString atOnce = difference();
    QCoreApplication::processEvents();
    return atOnce + difference() + differenceOfPlaces();
}
