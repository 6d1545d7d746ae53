// Everything goes away with its test function, the window before the business logic that it shows.
#include "window_test.h"

#include "pidrtsys.h"

#include <QFile>
#include <QSignalSpy>

void WindowTest::setUp()
{
    dialogs = std::make_unique<DialogAnswerer>();
    systems = std::make_unique<OwnRunningSystems>();
    installation = std::make_unique<FakeInstallation>();
    installation->withTools();
    qputenv("TAVRIN", QFile::encodeName(installation->path()));
    logic = std::make_unique<Logic>("tavrin_update");
    recorder = std::make_unique<SignalRecorder>(*logic);
}

void WindowTest::tearDown()
{
    topLevel.reset();
    window = nullptr;
    recorder.reset();
    logic.reset();
    otherInstallation.reset();
    installation.reset();
    systems.reset();
    source.reset();
}

QString WindowTest::complaint() const
{
    return dialogs->complaint() + Test::complaint();
}

// The fake library must be linked before the installation's.
void WindowTest::initTestCase()
{
    const OwnRunningSystems one;
    one.set("#null 12345\n");
    Pidrtsys* records = nullptr;
    QVERIFY2(pidrtsys(&records) == 12345, "this is not the fake library's pidrtsys()");
}

void WindowTest::initialize(const QString& sourceUrl)
{
    QCOMPARE(logic->initialize(windowOptions(sourceUrl)), QString());
}

void WindowTest::initializeForOtherRelease()
{
    otherInstallation = std::make_unique<FakeInstallation>("5.8");
    Logic::CommandLineOptions options = windowOptions("file:///nowhere/");
    options.release = "5.8";
    QCOMPARE(logic->initialize(options), QString());
}

void WindowTest::showWidget()
{
    topLevel = std::make_unique<TavrinUpdateWidget>(*logic);
    topLevel->resize(700, 800);
    findParts();
}

void WindowTest::openWidget(const QString& sourceUrl)
{
    initialize(sourceUrl);
    showWidget();
}

void WindowTest::openList(const PatchPage& page)
{
    source = std::make_unique<LocalSource>(page);
    openWidget(source->url());
    readList();
}

void WindowTest::openPatches(const QStringList& names)
{
    openWidget();
    listPatches(names);
}

void WindowTest::showMainWindow(Logic& businessLogic)
{
    topLevel = std::make_unique<TavrinUpdateMainWindow>(businessLogic);
    findParts();
}

void WindowTest::findParts()
{
    topLevel->show();
    window = qobject_cast<TavrinUpdateMainWindow*>(topLevel.get());
    widget = window != nullptr ? window->findChild<TavrinUpdateWidget*>()
                               : qobject_cast<TavrinUpdateWidget*>(topLevel.get());
    QVERIFY(widget != nullptr);
    find(rtsGroupBox, "rtsGroupBox");
    find(table, "rtsTableWidget");
    find(warning, "warningWidget");
    find(warningLabel, "safeToApplyLabel");
    find(overrideBox, "overrideCautionCheckBox");
    find(url, "urlLineEdit");
    find(defaultUrlButton, "defaultUrlButton");
    find(tree, "updatesTreeWidget");
    find(noUpdates, "noUpdatesLabel");
    find(progress, "progressTextEdit");
    find(applyButton, "applyButton");
    find(doneButton, "doneButton");
    timer = widget->findChild<QTimer*>(QString(), Qt::FindDirectChildrenOnly);
}

void WindowTest::readList()
{
    QSignalSpy ready(logic.get(), SIGNAL(patchListReady()));
    logic->requestUpdatesList();
    QVERIFY(ready.wait());
}

void WindowTest::addPatches(const QStringList& names)
{
    for (const QString& name : names) {
        logic->addPatchToList(name, name + " 1 Jan 2020", false, name + ".tar", "About " + name);
    }
}

void WindowTest::listPatches(const QStringList& names)
{
    addPatches(names);
    logic->determinePatchesApplied();
    populate();
}

void WindowTest::updateMarks()
{
    logic->determinePatchesApplied();
    emit logic->updatePatchStatus();
}

QStringList WindowTest::marks() const
{
    QStringList lines;
    for (int i = 0; i < tree->topLevelItemCount(); ++i) {
        lines << tree->topLevelItem(i)->text(0) + ' ' + tree->topLevelItem(i)->text(1);
    }
    return lines;
}

QStringList WindowTest::cells(int row) const
{
    QStringList texts;
    for (int column = 0; column < table->columnCount(); ++column) {
        texts << table->item(row, column)->text();
    }
    return texts;
}

void WindowTest::call(const char* slot) const
{
    QVERIFY2(QMetaObject::invokeMethod(widget, slot), slot);
}

void WindowTest::populate() const
{
    call("populateUpdateList");
}

void WindowTest::refreshTable() const
{
    call("refreshRealTimeSystemTable");
}

void WindowTest::apply() const
{
    call("on_applyButton_clicked");
}
