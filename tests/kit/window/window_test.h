// The base of the tests that have the window's classes in their own process, on the offscreen platform. It makes a
// business logic over an installation of its own, and gives a test all parts of the window that it touches.
#pragma once

#include "dialog_answerer.h"
#include "fake_installation.h"
#include "patch_source.h"
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
#include <QTableWidget>
#include <QTextEdit>
#include <QTreeWidget>

#include <memory>

/** Besides unexpected warnings, message boxes that no one expected fail its test functions. */
class WindowTest : public Test
{
    Q_OBJECT

protected:
    using Logic = TavrinUpdateBusinessLogic;

    void setUp() override;
    void tearDown() override;
    QString complaint() const override;

    /** Initialises the business logic for a window run over a patch source. */
    void initialize(const QString& url = QStringLiteral("file:///nowhere/"));

    /** Makes an installation of 5.8 beside that of 5.9, and initialises for a release override of 5.8. */
    void initializeForOtherRelease();

    /** Shows a widget of its own over the business logic as it is. */
    void showWidget();

    /** Initialises and shows the widget. */
    void openWidget(const QString& url = QStringLiteral("file:///nowhere/"));

    /** The same over a local source with this page, whose list it waits for. */
    void openList(const PatchPage& page);

    /** The same over patches that no page lists. */
    void openPatches(const QStringList& names);

    /** Shows the main window with its widget over a business logic as it is. */
    void showMainWindow(Logic& businessLogic);

    /** Has the list read and waits for it. */
    void readList();

    /** Adds patches to the list without a page. */
    void addPatches(const QStringList& names);

    /** Adds patches as well, and shows which of them are applied. */
    void listPatches(const QStringList& names);

    /** Has the marks of the patches shown follow the installation. */
    void updateMarks();

    /** The applied marks of the patches shown, as "P1 Y". */
    QStringList marks() const;

    /** The texts of a row in the table of running systems. */
    QStringList cells(int row) const;

    /** Calls a slot of the widget. */
    void call(const char* slot) const;
    void populate() const;
    void refreshTable() const;
    void apply() const;

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
    void initTestCase();

private:
    template <typename Part>
    void find(Part*& part, const char* name) const
    {
        part = widget->findChild<Part*>(QLatin1String(name));
        QVERIFY2(part != nullptr, name);
    }
    void findParts();

    std::unique_ptr<FakeInstallation> otherInstallation;
    std::unique_ptr<QWidget> topLevel; // the widget or the main window
};
