// The tree of patches in the update widget: what it lists, how it shows descriptions, where it scrolls, and how its
// marks follow the installation. tst_fill compares it with a plain tree.
#include "paint_counter.h"
#include "window_test.h"

#include <QAccessible>
#include <QScreen>
#include <QScrollBar>

class TstWidgetPatches : public WindowTest
{
    Q_OBJECT

private slots:
    void patchesAreListed()
    {
        installation->withPatched("P2");
        openList(
            PatchPage().entry("P1", "1 May", "Corrects\n  the   first.").entry("P2", "2 May", "Corrects the second."));
        QCOMPARE(marks(), QStringList({"P1 N", "P2 Y"}));
        QTreeWidgetItem* item = tree->topLevelItem(0);
        QCOMPARE(item->text(2), QString());
        QCOMPARE(item->type(), int(QTreeWidgetItem::Type));
        const auto* label = qobject_cast<QLabel*>(tree->itemWidget(item, 2));
        QVERIFY(label != nullptr);
        QCOMPARE(label->text(), QString("Corrects the first."));
        QCOMPARE(label->contentsMargins(), QMargins(0, 4, 0, 4));
        QVERIFY(label->wordWrap());
        QVERIFY(label->isVisible());
        QVERIFY(applyButton->isEnabled());
    }

    void descriptionWithATagIsShownWhole()
    {
        openList(PatchPage().entry("P1", "1 May", "Repairs the &lt;b&gt; tag in pages of 3 &lt; 4 lines."));
        QCoreApplication::processEvents();
        auto* label = qobject_cast<QLabel*>(tree->itemWidget(tree->topLevelItem(0), 2));
        QVERIFY(label != nullptr);
        QCOMPARE(label->text(), QString("Repairs the <b> tag in pages of 3 < 4 lines."));

        QLabel whole(tree->viewport());
        whole.setTextFormat(Qt::PlainText);
        whole.setText(label->text());
        whole.setContentsMargins(0, 4, 0, 4);
        whole.setWordWrap(true);
        whole.setGeometry(label->geometry());
        QCOMPARE(label->sizeHint(), whole.sizeHint());
        QCOMPARE(label->grab().toImage(), whole.grab().toImage());
        whole.setText(QString());
        QVERIFY(label->grab().toImage() != whole.grab().toImage());
        QCOMPARE(label->textFormat(), Qt::PlainText);
    }

    void descriptionIsReadOutInItsCell()
    {
        openList(
            PatchPage().entry("P1", "1 May", "Corrects\n  the   first.").entry("P2", "2 May", "Corrects the second."));
        QAccessibleInterface* interface = QAccessible::queryAccessibleInterface(tree);
        QVERIFY(interface != nullptr && interface->tableInterface() != nullptr);
        const auto name = [interface](int row, int column) {
            QAccessibleInterface* cell = interface->tableInterface()->cellAt(row, column);
            return cell == nullptr ? QString("no cell") : cell->text(QAccessible::Name);
        };
        QCOMPARE(name(0, 0), QString("P1"));
        QCOMPARE(name(0, 1), QString("N"));
        QCOMPARE(name(0, 2), QString("Corrects the first."));
        QCOMPARE(name(1, 2), QString("Corrects the second."));
        QCOMPARE(tree->topLevelItem(0)->text(2), QString());
    }

    void descriptionShownAgainIsPaintedAlone()
    {
        openWidget();
        QVERIFY(QTest::qWaitForWindowExposed(widget));
        listPatches({"P1", "P2", "P3"});
        // The pixels on the screen; QWidget::grab() would paint the widget again.
        const auto onScreen = [this] {
            return widget->screen()->grabWindow(widget->winId()).toImage();
        };
        const auto labelOf = [this](int row) {
            return tree->itemWidget(tree->topLevelItem(row), 2);
        };
        QCoreApplication::processEvents();
        const QImage before = onScreen();
        labelOf(1)->hide();
        QTRY_VERIFY(onScreen() != before);

        QCoreApplication::processEvents();
        const PaintCounter shown(labelOf(1));
        const PaintCounter above(labelOf(0));
        const PaintCounter below(labelOf(2));
        labelOf(1)->show();
        QTRY_VERIFY(shown.count > 0);
        QCoreApplication::processEvents();
        QVERIFY(onScreen() == before);
        QCOMPARE(above.count, 0);
        QCOMPARE(below.count, 0);
    }

    void trialPatchIsShownOnlyAlone_data()
    {
        const Rows<QStringList, QStringList> row("listed", "shown");
        row("no patch", {}, {});
        row("ordinary patches", {"P1", "P2"}, {"P1 N", "P2 N"});
        row("alone", {"TrialPatch"}, {"TrialPatch N"});
        row("together with another", {"P1", "TrialPatch"}, {"P1 N"});
        row("two trial patches", {"TrialPatch", "TrialPatch"}, {});
        row("other letter case", {"tRIALpATCH", "P1"}, {"P1 N"});
        row("longer name", {"trialpatch_7", "P1"}, {"P1 N"});
        row("name that only contains it", {"MyTrialPatch", "P1"}, {"MyTrialPatch N", "P1 N"});
    }

    void trialPatchIsShownOnlyAlone()
    {
        QFETCH(QStringList, listed);
        openPatches(listed);
        QTEST(marks(), "shown");
    }

    void newListReplacesTheOldOne()
    {
        openList(pageOf({"P1", "P2"}));
        readList();
        QCOMPARE(marks(), QStringList({"P1 N", "P2 N"}));
    }

    void firstPatchNotInstalledIsScrolledTo()
    {
        openWidget();
        QStringList names;
        for (int i = 0; i < 200; ++i) {
            names << QString("P%1").arg(i);
            installation->withPatched(names.last());
        }
        installation->without("patched/P120").without("patched/P180");
        listPatches(names);
        QCOMPARE(marks().at(120), QString("P120 N"));
        const QRect view = tree->viewport()->rect();
        QVERIFY(view.contains(tree->visualItemRect(tree->topLevelItem(120))));
        QVERIFY(!view.intersects(tree->visualItemRect(tree->topLevelItem(180))));
        QVERIFY(!view.intersects(tree->visualItemRect(tree->topLevelItem(0))));
    }

    void scrollBarStaysAfterItWasShown()
    {
        openPatches({"P0", "P1"});
        QCOMPARE(tree->verticalScrollBarPolicy(), Qt::ScrollBarAsNeeded);
        for (int i = 2; i < 60; ++i) {
            addPatches({QString("P%1").arg(i)});
        }
        populate();
        QCOMPARE(tree->verticalScrollBarPolicy(), Qt::ScrollBarAlwaysOn);
        const LocalSource shorter(pageOf({"P1"}));
        QCOMPARE(logic->validateCurrentUrl(shorter.url()), QString());
        readList();
        QCOMPARE(tree->topLevelItemCount(), 1);
        QCOMPARE(tree->verticalScrollBarPolicy(), Qt::ScrollBarAlwaysOn);
        QVERIFY(tree->verticalScrollBar()->isVisible());
    }

    void itemIsFoundByItsExactName()
    {
        openPatches({"P1", "P2", "P2", "p2"});
        QCOMPARE(widget->getTopLevelItem("P2"), tree->topLevelItem(1));
        QCOMPARE(widget->getTopLevelItem("p2"), tree->topLevelItem(3));
        QCOMPARE(widget->getTopLevelItem("P"), static_cast<QTreeWidgetItem*>(nullptr));
        QCOMPARE(widget->getTopLevelItem(QString()), static_cast<QTreeWidgetItem*>(nullptr));
    }

    void marksFollowTheInstallation()
    {
        openPatches({"P1", "TrialPatch", "P2"});
        QCOMPARE(marks(), QStringList({"P1 N", "P2 N"}));
        installation->withPatched("P2").withPatched("TrialPatch");
        updateMarks();
        QCOMPARE(marks(), QStringList({"P1 N", "P2 Y"}));
        QVERIFY(applyButton->isEnabled());
        installation->withPatched("P1").without("patched/P2");
        updateMarks();
        QCOMPARE(marks(), QStringList({"P1 Y", "P2 N"}));
        installation->withPatched("P2");
        updateMarks();
        QVERIFY(!applyButton->isEnabled());
        QVERIFY(noUpdates->isVisible());
    }

    void onlyChangedMarksAreSet()
    {
        openPatches({"P1", "P2"});
        installation->withPatched("P2");
        logic->determinePatchesApplied();
        QSignalSpy changes(tree->model(), SIGNAL(dataChanged(QModelIndex, QModelIndex, QVector<int>)));
        emit logic->updatePatchStatus();
        QCOMPARE(changes.count(), 1);
        QCOMPARE(changes.first().at(0).toModelIndex(), tree->model()->index(1, 1));
    }

    void firstOfEqualNamesIsMarked()
    {
        openPatches({"P1", "P2", "P1"});
        installation->withPatched("P1");
        updateMarks();
        QCOMPARE(marks(), QStringList({"P1 Y", "P2 N", "P1 N"}));
    }
};

TAVRIN_GUI_TEST_MAIN(TstWidgetPatches)
#include "tst_widget_patches.moc"
