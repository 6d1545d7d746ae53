// The plain loop, and the comparison of trees. The plain tree is a QTreeWidget with the form's settings, not of the
// window's own class, so that the overrides of that class are compared as well.
#include "fill_comparison.h"

#include <QCoreApplication>
#include <QDebug>
#include <QHeaderView>
#include <QLabel>
#include <QScrollBar>
#include <QVBoxLayout>

namespace {

QString descriptionOf(int number, Descriptions descriptions)
{
    const QString sentence = QStringLiteral("Corrects a fault in the conversion of records.\n  ");
    const int sentences[] = {1, 4, 1 + number % 12}; // short, medium, mixed
    return sentence.repeated(sentences[static_cast<int>(descriptions)]);
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

template <typename... Values>
QString line(const Values&... values)
{
    QString text;
    QDebug stream(&text);
    (stream << ... << values);
    return text;
}

QString describe(const QScrollBar* bar)
{
    return line("bar visible", bar->isVisible(), "value", bar->value(), "of", bar->minimum(), bar->maximum(), "page",
                bar->pageStep(), "step", bar->singleStep(), "at", bar->geometry());
}

// Everything visible in the tree.
QStringList describe(QTreeWidget* tree)
{
    QStringList lines{
        line("policy", tree->verticalScrollBarPolicy(), "viewport", tree->viewport()->geometry(), "tree",
             tree->geometry()),
        describe(tree->verticalScrollBar()),
        describe(tree->horizontalScrollBar()),
        line("columns", tree->columnWidth(0), tree->columnWidth(1), tree->columnWidth(2)),
    };
    for (int i = 0; i < tree->topLevelItemCount(); ++i) {
        QTreeWidgetItem* item = tree->topLevelItem(i);
        const auto* label = qobject_cast<QLabel*>(tree->itemWidget(item, 2));
        lines << line("item", item->text(0), item->text(1), item->text(2), "type", item->type(), "flags", item->flags(),
                      "current", tree->currentItem() == item)
              << line("label", label->text(), "at", label->geometry(), "visible", label->isVisible(), "margins",
                      label->contentsMargins(), "format", label->textFormat(), "wrap", label->wordWrap(), "in viewport",
                      label->parentWidget() == tree->viewport());
    }
    return lines;
}

QStringList placesOfItems(QTreeWidget* tree)
{
    QStringList lines;
    for (int i = 0; i < tree->topLevelItemCount(); ++i) {
        lines << line(tree->visualItemRect(tree->topLevelItem(i)));
    }
    return lines;
}

// The first lines that differ, each with that of the plain tree.
QString differenceOf(const QStringList& lines, const QStringList& expected)
{
    QStringList differences;
    for (int i = 0; i < qMax(lines.count(), expected.count()); ++i) {
        if (lines.value(i) != expected.value(i)) {
            differences << "\n" + lines.value(i) + "\n  instead of\n" + expected.value(i);
        }
    }
    return differences.mid(0, 5).join(QString());
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
    // The widget still fills its own tree, which is hidden.
    QTreeWidget* former = plain.tree;
    plain.tree = newPlainTree(former->parentWidget());
    delete plain.window.findChild<QVBoxLayout*>("verticalLayout")->replaceWidget(former, plain.tree);
    former->hide();
    plain.window.resize(700, height);
    quick.window.resize(700, height);
}

void FillComparison::setVisible(bool visible)
{
    plain.window.setVisible(visible);
    quick.window.setVisible(visible);
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
    plain.window.resize(width, height);
    quick.window.resize(width, height);
    QCoreApplication::processEvents();
}

void FillComparison::resizeFirstColumn(int width)
{
    plain.tree->setColumnWidth(0, width);
    quick.tree->setColumnWidth(0, width);
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

QString FillComparison::wholeDifference()
{
    const QString ofTrees = difference();
    return ofTrees + differenceOfPlaces();
}

QString FillComparison::differenceOnRefill(const PatchList& former, int stepsFromEnd, bool viaEmptyTree,
                                           const PatchList& list)
{
    for (Window* each : {&plain, &quick}) {
        each->tree->setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded); // as in a new window
    }
    logic.requestUpdatesList(); // clears the list; without an address none is read
    add(former);
    fill();
    QCoreApplication::processEvents();
    scrollUpFromEnd(stepsFromEnd);
    if (viaEmptyTree) {
        plain.tree->clear();
        quick.tree->clear();
        QCoreApplication::processEvents();
    }
    logic.requestUpdatesList();
    add(list);
    fill();
    const QString atOnce = difference();
    QCoreApplication::processEvents();
    return atOnce + wholeDifference();
}
