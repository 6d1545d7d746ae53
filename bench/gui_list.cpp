// Measures the two jobs that the window does again and again: filling the tree with a list of patches, compared with a
// plain loop that adds each item and its label, and refreshing the table of running systems, once a second. Run it on
// the offscreen platform with FAKE_PIDRTSYS naming a file that it may write. It prints milliseconds. The arguments are
// numbers of patches; without any there are three lists.
#include "pidrtsys.h"
#include "tavrin_update_bl.h"
#include "tavrin_update_widget.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QLabel>
#include <QTreeWidget>
#include <QVector>

#include <cstdio>
#include <ctime>

namespace {

const int SLOWEST_PLAIN_COUNT = 1000; // the plain loop takes minutes for 10 000 patches

void addPatches(TavrinUpdateBusinessLogic& logic, int count)
{
    for (int i = 0; i < count; ++i) {
        const QString name = QStringLiteral("Patch_%1").arg(i);
        logic.addPatchToList(name, name + " 1 January 2020", i % 2 == 0, name + ".tar",
                             QStringLiteral("Corrects a fault in the conversion of records. ").repeated(1 + i % 4));
    }
}

void fillPlainly(TavrinUpdateBusinessLogic& logic, QTreeWidget* tree)
{
    tree->clear();
    while (logic.nextPatch()) {
        auto* item = new QTreeWidgetItem(tree, {logic.getPatchName(), logic.patchIsInstalled() ? "Y" : "N"});
        auto* label = new QLabel(logic.getPatchDescription().simplified());
        label->setContentsMargins(0, 4, 0, 4);
        label->setWordWrap(true);
        tree->setItemWidget(item, 2, label);
        tree->addTopLevelItem(item);
    }
}

void measureList(int count)
{
    TavrinUpdateBusinessLogic logic("tavrin_update");
    addPatches(logic, count);
    TavrinUpdateWidget widget(logic);
    widget.resize(700, 780);
    widget.show();
    QCoreApplication::processEvents();

    QElapsedTimer timer;
    timer.start();
    QMetaObject::invokeMethod(&widget, "populateUpdateList");
    QCoreApplication::processEvents();
    const double fill = double(timer.nsecsElapsed()) / 1e6;
    timer.restart();
    QMetaObject::invokeMethod(&widget, "refreshPatchStatus");
    QCoreApplication::processEvents();
    const double marks = double(timer.nsecsElapsed()) / 1e6;
    timer.restart();
    widget.resize(900, 1000);
    QCoreApplication::processEvents();
    const double resize = double(timer.nsecsElapsed()) / 1e6;
    std::printf("%6d patches: fill %8.1f ms, marks %6.1f ms, resize %6.1f ms", count, fill, marks, resize);

    if (count <= SLOWEST_PLAIN_COUNT) {
        timer.restart();
        fillPlainly(logic, widget.findChild<QTreeWidget*>());
        QCoreApplication::processEvents();
        std::printf(", plain loop %8.1f ms", double(timer.nsecsElapsed()) / 1e6);
    }
    std::printf("\n");
}

bool measureRefresh(int systems)
{
    const QString fileName = qEnvironmentVariable("FAKE_PIDRTSYS");
    QFile file(fileName);
    if (fileName.isEmpty() || !file.open(QIODevice::WriteOnly)) {
        std::fprintf(stderr, "FAKE_PIDRTSYS must name a file that can be written\n");
        return false;
    }
    for (int i = 0; i < systems; ++i) {
        file.write("5.7\toperator\t/home/operator/run\t" + QByteArray::number(1000 + i) + '\n');
    }
    file.close();
    Pidrtsys* records = nullptr;
    const int found = pidrtsys(&records);
    delete[] records;
    if (found != systems) {
        std::fprintf(stderr, "the fake library found %d of %d systems\n", found, systems);
        return false;
    }

    TavrinUpdateBusinessLogic logic("tavrin_update");
    TavrinUpdateWidget widget(logic);
    widget.resize(700, 780);
    widget.show();
    QCoreApplication::processEvents();
    const int rounds = 100;
    const std::clock_t start = std::clock();
    for (int i = 0; i < rounds; ++i) {
        QMetaObject::invokeMethod(&widget, "refreshRealTimeSystemTable");
        QCoreApplication::processEvents();
    }
    const double milliseconds = double(std::clock() - start) * 1000.0 / CLOCKS_PER_SEC / rounds;
    std::printf("%6d systems: refresh %6.2f ms of processor time, %.2f %% of a core at one per second\n", systems,
                milliseconds, milliseconds / 10);
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    const QApplication app(argc, argv);
    QVector<int> counts;
    for (int i = 1; i < argc; ++i) {
        counts.append(QByteArray(argv[i]).toInt());
    }
    for (const int count : counts.isEmpty() ? QVector<int>{100, 1000, 10000} : counts) {
        measureList(count);
    }
    return measureRefresh(50) ? 0 : 1;
}
