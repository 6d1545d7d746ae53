// The base of the tests that have the window's classes in their own process, on the offscreen platform. It makes a
// business logic over an installation of its own, and gives a test all parts of the window that it touches.
#pragma once

#include "dialog_answerer.h"
#include "fake_installation.h"
#include "patch_source.h"
#include "pidrtsys.h"
#include "signal_recorder.h"
#include "tavrin_update_bl.h"
#include "tavrin_update_mainwindow.h"
#include "tavrin_update_widget.h"
#include "test.h"
#include "window_fixture.h"

#include <QCheckBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableWidget>
#include <QTextEdit>
#include <QTreeWidget>

#include <memory>

/** Besides unexpected warnings, message boxes that were not expected fail its test functions. */
class WindowTest : public Test
{
    Q_OBJECT

protected:
    using Logic = TavrinUpdateBusinessLogic;

    void setUp() override
    {
        dialogs = std::make_unique<DialogAnswerer>();
        systems = std::make_unique<OwnRunningSystems>();
        installation = std::make_unique<FakeInstallation>();
        installation->withTools();
        qputenv("TAVRIN", QFile::encodeName(installation->path()));
        logic = std::make_unique<Logic>("tavrin_update");
        recorder = std::make_unique<SignalRecorder>(*logic);
    }

    void tearDown() override
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

    QString complaint() const override
    {
        return dialogs->complaint() + Test::complaint();
    }

    /** Initialises the business logic for a window run over a patch source. */
    void initialize(const QString& sourceUrl = "file:///nowhere/")
    {
        QCOMPARE(logic->initialize(windowOptions(sourceUrl)), QString());
    }

    /** Makes an installation of 5.8 beside that of 5.9, and initialises for a release override of 5.8. */
    void initializeForOtherRelease()
    {
        otherInstallation = std::make_unique<FakeInstallation>("5.8");
        Logic::CommandLineOptions options = windowOptions("file:///nowhere/");
        options.release = "5.8";
        QCOMPARE(logic->initialize(options), QString());
    }

    /** Shows a new widget over the business logic as it is. */
    void showWidget()
    {
        topLevel = std::make_unique<TavrinUpdateWidget>(*logic);
        topLevel->resize(700, 800);
        findParts();
    }

    /** Initialises and shows the widget. */
    void openWidget(const QString& sourceUrl = "file:///nowhere/")
    {
        initialize(sourceUrl);
        showWidget();
    }

    /** The same over a local source with this page; waits for the list. */
    void openList(const PatchPage& page)
    {
        source = std::make_unique<LocalSource>(page);
        openWidget(source->url());
        readList();
    }

    /** Opens the widget and lists patches in it. */
    void openPatches(const QStringList& names)
    {
        openWidget();
        listPatches(names);
    }

    /** Shows a new main window over the business logic as it is. */
    void showMainWindow()
    {
        topLevel = std::make_unique<TavrinUpdateMainWindow>(*logic);
        findParts();
    }

    /** Has the list read and waits for it. */
    void readList()
    {
        QSignalSpy ready(logic.get(), SIGNAL(patchListReady()));
        logic->requestUpdatesList();
        QVERIFY(ready.wait());
    }

    /** Adds patches to the list without a page. */
    void addPatches(const QStringList& names)
    {
        for (const QString& name : names) {
            logic->addPatchToList(name, name + " 1 Jan 2020", false, name + ".tar", "About " + name);
        }
    }

    /** Adds patches and shows which of them are applied. */
    void listPatches(const QStringList& names)
    {
        addPatches(names);
        logic->determinePatchesApplied();
        populate();
    }

    /** Has the marks of the patches shown follow the installation. */
    void updateMarks()
    {
        logic->determinePatchesApplied();
        emit logic->updatePatchStatus();
    }

    /** The applied marks of the patches shown, as "P1 Y". */
    QStringList marks() const
    {
        QStringList lines;
        for (int i = 0; i < tree->topLevelItemCount(); ++i) {
            lines << tree->topLevelItem(i)->text(0) + ' ' + tree->topLevelItem(i)->text(1);
        }
        return lines;
    }

    /** The texts of a row in the table of running systems. */
    QStringList cells(int row) const
    {
        QStringList texts;
        for (int column = 0; column < table->columnCount(); ++column) {
            texts << table->item(row, column)->text();
        }
        return texts;
    }

    /** Calls a slot of the widget. */
    void call(const char* slot) const
    {
        QVERIFY2(QMetaObject::invokeMethod(widget, slot), slot);
    }

    void populate() const
    {
        call("populateUpdateList");
    }

    void refreshTable() const
    {
        call("refreshRealTimeSystemTable");
    }

    void apply() const
    {
        call("on_applyButton_clicked");
    }

    std::unique_ptr<DialogAnswerer> dialogs;
    std::unique_ptr<OwnRunningSystems> systems;
    std::unique_ptr<FakeInstallation> installation;
    std::unique_ptr<Logic> logic;
    std::unique_ptr<SignalRecorder> recorder;
    std::unique_ptr<LocalSource> source; // that of openList()

    // What is shown, and its parts; valid once it is.
    TavrinUpdateMainWindow* window = nullptr;
    TavrinUpdateWidget* widget = nullptr;
    QGroupBox* rtsGroupBox = nullptr;
    QTableWidget* table = nullptr;
    QWidget* warning = nullptr;
    QLabel* warningLabel = nullptr;
    QCheckBox* overrideBox = nullptr;
    QLineEdit* url = nullptr;
    QPushButton* defaultUrlButton = nullptr;
    QTreeWidget* tree = nullptr;
    QLabel* noUpdates = nullptr;
    QTextEdit* progress = nullptr;
    QPushButton* applyButton = nullptr;
    QPushButton* doneButton = nullptr;
    QTimer* timer = nullptr;

private slots:
    // The fake library has to be linked before the installation's.
    void initTestCase()
    {
        const OwnRunningSystems one;
        one.set("#null 12345\n");
        Pidrtsys* records = nullptr;
        QVERIFY2(pidrtsys(&records) == 12345, "this is not the fake library's pidrtsys()");
    }

private:
    template <typename Part>
    void find(Part*& part, const char* name) const
    {
        part = widget->findChild<Part*>(QLatin1String(name));
        QVERIFY2(part != nullptr, name);
    }

    void findParts()
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

    std::unique_ptr<FakeInstallation> otherInstallation;
    std::unique_ptr<QWidget> topLevel; // the widget or the main window
};
