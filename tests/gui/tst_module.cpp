// The module of the window in a program that is not linked to the window: this test exports the business logic as the
// program does, and the program's entry, with its main renamed, loads the real module. tst_window_module starts the
// program itself.
#include "tavrin_update.h"
#include "tavrin_update_windowfactory.h"

#include "expected_texts.h"
#include "fake_installation.h"
#include "patch_source.h"
#include "test.h"
#include "test_paths.h"
#include "window/window_fixture.h"

#include <QApplication>
#include <QPluginLoader>
#include <QScopedPointer>
#include <QTextEdit>
#include <QTreeWidget>

#include <memory>

namespace {

// The application object of a window run.
struct LoadedApplication
{
    LoadedApplication(int& argc, char** argv) : application(createApplication(false, argc, argv))
    {
    }

    const QScopedPointer<QCoreApplication> application;
};

const TavrinUpdateWindowFactory* loadedFactory()
{
    QPluginLoader module(modulePath());
    return module.isLoaded() ? qobject_cast<TavrinUpdateWindowFactory*>(module.instance()) : nullptr;
}

} // namespace

class TstModule : public Test
{
    Q_OBJECT

private slots:
    void entryLoadsTheModuleForAWindowRun()
    {
        QCOMPARE(QCoreApplication::instance()->metaObject()->className(), "QApplication");
        QVERIFY(loadedFactory() != nullptr);
    }

    void windowAndProgramUseOneBusinessLogic()
    {
        const OwnRunningSystems none;
        FakeInstallation installation;
        const LocalSource source(pageOf({"P1"}));
        qputenv("TAVRIN", QFile::encodeName(installation.path()));
        TavrinUpdateBusinessLogic logic("tavrin_update");
        QCOMPARE(logic.initialize(windowOptions(source.url())), QString());

        loadedFactory()->showWindow(logic);
        QTRY_VERIFY(QApplication::activeWindow() != nullptr);
        const std::unique_ptr<QWidget> window(QApplication::activeWindow());
        QCOMPARE(window->windowTitle(), WINDOW_TITLE);
        const auto* tree = window->findChild<QTreeWidget*>("updatesTreeWidget");
        const auto* progress = window->findChild<QTextEdit*>("progressTextEdit");
        QVERIFY(tree != nullptr && progress != nullptr);

        logic.requestUpdatesList();
        QTRY_COMPARE(tree->topLevelItemCount(), 1);
        QCOMPARE(tree->topLevelItem(0)->text(0) + ' ' + tree->topLevelItem(0)->text(1), QString("P1 N"));
        installation.withPatched("P1");
        logic.determinePatchesApplied();
        emit logic.updatePatchStatus();
        QCOMPARE(tree->topLevelItem(0)->text(1), QString("Y"));
        emit logic.appendProgress("a line");
        QCOMPARE(progress->toPlainText(), QString("a line"));
    }
};

TAVRIN_TEST_MAIN_WITH(LoadedApplication, TstModule, TestPlace())
#include "tst_module.moc"
