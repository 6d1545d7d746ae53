// More than a thousand lists, each of which replaces another one, compared with a plain QTreeWidget: all combinations
// of sizes, lengths and applied states of the lists, scroll positions and heights of the window. Lists that were found
// to differ are rows of tst_fill.
#include "fill_comparison.h"
#include "test.h"

#include <QApplication>

class TstFillMany : public Test
{
    Q_OBJECT

private slots:
    void refilledTreeEqualsThePlainOne_data()
    {
        const Rows<PatchList, int> row("former", "height");
        for (const int height : {700, 850, 1100}) {
            for (const PatchList& former :
                 {PatchList{1, 0, Descriptions::Short}, PatchList{4, 4, Descriptions::Mixed},
                  PatchList{9, 4, Descriptions::Short}, PatchList{17, 17, Descriptions::Medium},
                  PatchList{30, 10, Descriptions::Mixed}}) {
                row(describe(former) + ", " + QByteArray::number(height) + " high", former, height);
            }
        }
    }

    void refilledTreeEqualsThePlainOne()
    {
        QFETCH(PatchList, former);
        QFETCH(int, height);
        FillComparison windows(height);
        windows.setVisible(true);
        QCoreApplication::processEvents();
        QStringList differing;
        int number = 0;
        for (const int steps : {0, 2}) {
            for (const int count : {1, 2, 3, 4, 5, 7, 10, 14, 20}) {
                for (const int firstMissing : {0, count / 2, count}) {
                    for (const Descriptions length : {Descriptions::Short, Descriptions::Mixed}) {
                        const PatchList list{count, firstMissing, length};
                        const bool viaEmptyTree = ++number % 2 == 0;
                        const QString difference = windows.differenceOnRefill(former, steps, viaEmptyTree, list);
                        if (!difference.isEmpty()) {
                            differing << QStringLiteral("%1 steps up, then%2 %3: %4")
                                             .arg(steps)
                                             .arg(viaEmptyTree ? " an empty tree, then" : "", QString(describe(list)),
                                                  difference);
                        }
                    }
                }
            }
        }
        QVERIFY2(differing.isEmpty(), qPrintable(QStringLiteral("%1 of %2 lists differ:\n%3")
                                                     .arg(differing.count())
                                                     .arg(number)
                                                     .arg(differing.mid(0, 10).join('\n'))));
    }
};

TAVRIN_GUI_TEST_MAIN(TstFillMany)
#include "tst_fill_many.moc"
