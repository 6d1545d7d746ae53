// The tree of patches after it was filled. The widget has a faster way for long lists, and its result must look like a
// plain QTreeWidget that is filled row by row: items, labels, geometry, scroll position and scroll bars are compared,
// before and after the pending layouts.
#include "fill_comparison.h"
#include "test.h"

#include <QApplication>

#include <set>

class TstFill : public Test
{
    Q_OBJECT

private slots:
    void treeEqualsThePlainOne_data()
    {
        const Rows<PatchList, bool, int> rows("list", "shown", "height");
        const int usual = 800;
        const auto row = [&rows](const PatchList& list, bool shown, int height) {
            rows(describe(list) + (shown ? ", shown, " : ", not shown, ") + QByteArray::number(height) + " high", list,
                 shown, height);
        };
        // Up to 19: around the number at which the scroll bar appears, with either length of descriptions.
        for (const int count : {0, 1, 2, 3, 8, 10, 12, 19, 40}) {
            for (const int firstMissing : std::set<int>{0, count / 2}) {
                row({count, firstMissing, Descriptions::Short}, true, usual);
            }
            for (const int firstMissing : std::set<int>{0, count / 2, count}) {
                row({count, firstMissing, Descriptions::Mixed}, true, usual);
            }
        }
        // In a high window the scroll bar appears only with the last rows.
        for (const int count : {3, 5, 8, 11}) {
            row({count, count, Descriptions::Mixed}, true, 1100);
        }
        for (const int count : {0, 1, 2, 9, 40}) {
            row({count, count / 2, Descriptions::Mixed}, false, usual);
        }
    }

    void treeEqualsThePlainOne()
    {
        QFETCH(PatchList, list);
        QFETCH(bool, shown);
        QFETCH(int, height);
        FillComparison windows(height);
        windows.add(list);
        windows.setVisible(shown);
        QCoreApplication::processEvents();

        // The second and third list replace an earlier one, which may have left a scroll bar.
        for (const int more : {0, 5, 0}) {
            PatchList added = list;
            added.count = more;
            windows.add(added);
            windows.scrollUpFromEnd(more);
            windows.fill();
            QCOMPARE(windows.difference(), QString());
            // Reading the places would lay out added items.
            QCOMPARE(more == 0 ? windows.differenceOfPlaces() : QString(), QString());
            QCoreApplication::processEvents();
            QCOMPARE(windows.wholeDifference(), QString());
        }

        windows.setVisible(true);
        QCoreApplication::processEvents();
        QCOMPARE(windows.wholeDifference(), QString());
    }

    void scrolledTreeEqualsThePlainOne()
    {
        FillComparison windows(800);
        windows.setVisible(true);
        windows.add({40, 0, Descriptions::Mixed});
        windows.fill();
        QCoreApplication::processEvents();
        windows.scrollUpFromEnd(5);
        QCOMPARE(windows.difference(), QString());
        windows.resizeFirstColumn(200);
        QCOMPARE(windows.difference(), QString());
        for (const QSize size : {QSize(500, 800), QSize(900, 650), QSize(600, 1100)}) {
            windows.resize(size.width(), size.height());
            QCOMPARE(windows.wholeDifference(), QString());
        }
    }

    void refilledListIsLaidOutAndScrolledTooEarly_data()
    {
        const Rows<int, PatchList, int, bool, PatchList> rows("height", "former", "stepsFromEnd", "viaEmptyTree",
                                                              "list");
        const auto row = [&rows](int height, const PatchList& former, int stepsFromEnd, bool viaEmptyTree,
                                 const PatchList& list) {
            const QByteArray name = describe(former) + ", " + QByteArray::number(stepsFromEnd) + " up, then" +
                                    (viaEmptyTree ? " empty, then " : " ") + describe(list) + ", " +
                                    QByteArray::number(height) + " high";
            rows(name, height, former, stepsFromEnd, viaEmptyTree, list);
        };
        using Length = Descriptions;
        row(700, {4, 4, Length::Mixed}, 0, false, {2, 2, Length::Mixed});
        row(720, {3, 1, Length::Mixed}, 1, false, {2, 2, Length::Mixed});
        row(940, {5, 5, Length::Mixed}, 4, false, {2, 2, Length::Short});
        row(1060, {9, 0, Length::Short}, 0, false, {2, 2, Length::Mixed});
        row(850, {8, 0, Length::Medium}, 6, true, {1, 1, Length::Short});
        row(1100, {9, 9, Length::Short}, 0, false, {1, 1, Length::Mixed});
        row(700, {30, 3, Length::Medium}, 2, false, {1, 1, Length::Short});
    }

    void refilledListIsLaidOutAndScrolledTooEarly()
    {
        QFETCH(int, height);
        QFETCH(PatchList, former);
        QFETCH(int, stepsFromEnd);
        QFETCH(bool, viaEmptyTree);
        QFETCH(PatchList, list);
        FillComparison windows(height);
        windows.setVisible(true);
        QCoreApplication::processEvents();
        QCOMPARE(windows.differenceOnRefill(former, stepsFromEnd, viaEmptyTree, list), QString());
    }
};

TAVRIN_GUI_TEST_MAIN(TstFill)
#include "tst_fill.moc"
