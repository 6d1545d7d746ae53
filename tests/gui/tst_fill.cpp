// The tree of patches after it was filled, held against the plain loop: an item into the tree, its label into the item,
// the next. The widget takes a shorter way for long lists, and nobody may see a difference: items, labels, geometry,
// scroll position and scroll bars are compared, at once and after the pending layouts.
#include "message_guard.h"
#include "tavrin_update_bl.h"
#include "tavrin_update_mainwindow.h"
#include "tavrin_update_widget.h"
#include "test_main.h"

#include <QApplication>
#include <QHeaderView>
#include <QLabel>
#include <QScrollBar>
#include <QTest>
#include <QTreeWidget>

namespace {

enum Applied
{
    None,
    Some,
    All
};

/** What the widget is to show: as many patches as asked for, with descriptions of different lengths. */
void addPatches(TavrinUpdateBusinessLogic& logic, int count, Applied applied, bool longDescriptions)
{
    const QString sentence = QStringLiteral("Corrects a fault in the conversion of records.\n  ");
    for (int i = 0; i < count; ++i) {
        const QString name = QStringLiteral("P%1").arg(i);
        const bool isApplied = applied == All || (applied == Some && (i < count / 2 || i % 3 == 0));
        logic.addPatchToList(name, name + " 1 Jan 2020", isApplied, name + ".tar",
                             longDescriptions ? sentence.repeated(1 + i % 12) : sentence);
    }
}

/** The patches as the plain loop shows them. */
void fillPlainly(TavrinUpdateBusinessLogic& logic, QTreeWidget* tree)
{
    tree->clear();
    QTreeWidgetItem* firstNotInstalled = nullptr;
    const bool onlyOne = logic.getPatchCount() == 1;
    while (logic.nextPatch()) {
        if (!onlyOne && logic.getPatchName().toLower().startsWith("trialpatch")) {
            continue;
        }
        auto* item = new QTreeWidgetItem(tree, {logic.getPatchName(), logic.patchIsInstalled() ? "Y" : "N"});
        auto* label = new QLabel(logic.getPatchDescription().simplified());
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
        lines << QStringLiteral("%1|%2|%3 of %4 columns, type %5, label '%6' at %7 visible %8, margins %9")
                     .arg(item->text(0), item->text(1), item->text(2))
                     .arg(item->columnCount())
                     .arg(item->type())
                     .arg(label->text(), text(label->geometry()))
                     .arg(label->isVisible())
                     .arg(label->contentsMargins().top());
    }
    return lines;
}

/** The places of the items; asking for them has the tree do a layout that is still pending. */
QStringList itemPlaces(QTreeWidget* tree)
{
    QStringList lines;
    for (int i = 0; i < tree->topLevelItemCount(); ++i) {
        lines << text(tree->visualItemRect(tree->topLevelItem(i)));
    }
    return lines;
}

/** A main window that a test fills by hand or has filled, with its tree at hand. */
struct Window
{
    explicit Window(TavrinUpdateBusinessLogic& logic)
        : window(logic)
        , widget(window.findChild<TavrinUpdateWidget*>())
        , tree(window.findChild<QTreeWidget*>("updatesTreeWidget"))
    {
        QObject::disconnect(&logic, nullptr, widget, nullptr);
    }

    TavrinUpdateMainWindow window;
    TavrinUpdateWidget* widget;
    QTreeWidget* tree;
};

} // namespace

class TstFill : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void treeIsThatOfThePlainLoop_data();
    void treeIsThatOfThePlainLoop();

private:
    MessageGuard* guard = nullptr;
};

void TstFill::init()
{
    guard = new MessageGuard;
}

void TstFill::cleanup()
{
    const QString complaint = guard->complaint();
    delete guard;
    guard = nullptr;
    QCOMPARE(complaint, QString());
}

void TstFill::treeIsThatOfThePlainLoop_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("applied");
    QTest::addColumn<bool>("longDescriptions");
    QTest::addColumn<bool>("shown");
    QTest::addColumn<int>("height");
    const int usual = 800;
    const auto row = [](int count, Applied applied, bool longDescriptions, bool shown, int height) {
        const QByteArray name = QByteArray::number(count) + " patches, " +
                                QByteArrayList{"none", "some", "all"}.at(applied) + " applied, " +
                                (longDescriptions ? "long" : "short") + (shown ? ", shown, " : ", not shown, ") +
                                QByteArray::number(height) + " high";
        QTest::newRow(name.constData()) << count << int(applied) << longDescriptions << shown << height;
    };
    // Up to 19: around the border at which the scroll bar shows, with either length of descriptions.
    for (const int count : {0, 1, 2, 3, 8, 10, 12, 19, 40}) {
        for (const Applied applied : {None, Some}) {
            row(count, applied, false, true, usual);
            row(count, applied, true, true, usual);
        }
        row(count, All, true, true, usual);
    }
    // In a high window the scroll bar shows later, while the last rows go in.
    for (const int count : {3, 5, 8, 11}) {
        row(count, All, true, true, 1100);
    }
    for (const int count : {0, 1, 2, 9, 40}) {
        row(count, Some, true, false, usual);
    }
}

void TstFill::treeIsThatOfThePlainLoop()
{
    QFETCH(int, count);
    QFETCH(int, applied);
    QFETCH(bool, longDescriptions);
    QFETCH(bool, shown);
    QFETCH(int, height);
    TavrinUpdateBusinessLogic logic("tavrin_update");
    addPatches(logic, count, Applied(applied), longDescriptions);
    Window plain(logic);
    Window quick(logic);
    for (Window* each : {&plain, &quick}) {
        each->window.resize(700, height);
        each->window.setVisible(shown);
    }
    QCoreApplication::processEvents();

    // The second and third list meet a tree and a scroll bar that were in use.
    for (const int more : {0, 5, 0}) {
        addPatches(logic, more, Applied(applied), longDescriptions);
        for (Window* each : {&plain, &quick}) {
            each->tree->verticalScrollBar()->setValue(each->tree->verticalScrollBar()->maximum() - more);
        }
        fillPlainly(logic, plain.tree);
        QVERIFY(QMetaObject::invokeMethod(plain.widget, "refreshRealTimeSystemTable"));
        QVERIFY(QMetaObject::invokeMethod(quick.widget, "populateUpdateList"));
        QCOMPARE(describe(quick.tree), describe(plain.tree));
        if (more == 0) {
            QCOMPARE(itemPlaces(quick.tree), itemPlaces(plain.tree));
        }
        QCoreApplication::processEvents();
        QCOMPARE(describe(quick.tree), describe(plain.tree));
        QCOMPARE(itemPlaces(quick.tree), itemPlaces(plain.tree));
    }

    for (Window* each : {&plain, &quick}) {
        each->window.show();
    }
    QCoreApplication::processEvents();
    QCOMPARE(describe(quick.tree), describe(plain.tree));
    QCOMPARE(itemPlaces(quick.tree), itemPlaces(plain.tree));
}

TAVRIN_GUI_TEST_MAIN(TstFill)
#include "tst_fill.moc"
