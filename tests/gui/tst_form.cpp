// The form of the update widget alone: every widget with its name, class, position and properties, and every text with
// its context. The main window's form is tested in tst_mainwindow, except for one call.
#include "expected_texts.h"
#include "noted_calls.h"
#include "recording_translator.h"
#include "test.h"
#include "ui_tavrin_update_mainwindow.h"
#include "ui_tavrin_update_widget.h"

#include <QApplication>
#include <QRegularExpression>

#include <algorithm>
#include <type_traits>

namespace {

using Form = UI_TavrinUpdateWidget;

const char CONTEXT[] = "QtD_TavrinUpdateMainWindow";

struct Member
{
    const char* name;
    const char* className;
    const char* parentName;
    const void* place;
    const QObject* object;
};

template <typename Kind>
Member member(const char* name, const char* className, const char* parentName, Kind* const& pointer)
{
    return {name, className, parentName, &pointer, pointer};
}

// In the order of the form.
QVector<Member> membersOf(const Form& f)
{
    return {
        member("verticalLayout_5", "QVBoxLayout", "tavrinUpdateWidget", f.verticalLayout_5),
        member("verticalLayout_4", "QVBoxLayout", "verticalLayout_5", f.verticalLayout_4),
        member("contentWidget", "QWidget", "tavrinUpdateWidget", f.contentWidget),
        member("verticalLayout_2", "QVBoxLayout", "contentWidget", f.verticalLayout_2),
        member("rtsGroupBox", "QGroupBox", "contentWidget", f.rtsGroupBox),
        member("verticalLayout_8", "QVBoxLayout", "rtsGroupBox", f.verticalLayout_8),
        member("rtsTableWidget", "QTableWidget", "rtsGroupBox", f.rtsTableWidget),
        member("warningWidget", "QWidget", "rtsGroupBox", f.warningWidget),
        member("horizontalLayout_4", "QHBoxLayout", "warningWidget", f.horizontalLayout_4),
        member("safeToApplyLabel", "QLabel", "warningWidget", f.safeToApplyLabel),
        member("overrideCautionCheckBox", "QCheckBox", "warningWidget", f.overrideCautionCheckBox),
        member("splitter", "QSplitter", "contentWidget", f.splitter),
        member("updatesGroupBox", "QGroupBox", "splitter", f.updatesGroupBox),
        member("verticalLayout", "QVBoxLayout", "updatesGroupBox", f.verticalLayout),
        member("horizontalLayout", "QHBoxLayout", "verticalLayout", f.horizontalLayout),
        member("fromLabel", "QLabel", "updatesGroupBox", f.fromLabel),
        member("urlLineEdit", "QLineEdit", "updatesGroupBox", f.urlLineEdit),
        member("defaultUrlButton", "QPushButton", "updatesGroupBox", f.defaultUrlButton),
        member("updatesTreeWidget", "QTreeWidget", "updatesGroupBox", f.updatesTreeWidget),
        member("noUpdatesLabel", "QLabel", "updatesGroupBox", f.noUpdatesLabel),
        member("progressScrollArea", "QScrollArea", "splitter", f.progressScrollArea),
        member("scrollAreaWidgetContents", "QWidget", "qt_scrollarea_viewport", f.scrollAreaWidgetContents),
        member("verticalLayout_7", "QVBoxLayout", "scrollAreaWidgetContents", f.verticalLayout_7),
        member("progressGroupBox", "QGroupBox", "scrollAreaWidgetContents", f.progressGroupBox),
        member("verticalLayout_6", "QVBoxLayout", "progressGroupBox", f.verticalLayout_6),
        member("progressTextEdit", "QTextEdit", "progressGroupBox", f.progressTextEdit),
        member("horizontalLayout_2", "QHBoxLayout", "verticalLayout_4", f.horizontalLayout_2),
        member("applyButton", "QPushButton", "tavrinUpdateWidget", f.applyButton),
        {"horizontalSpacer", nullptr, nullptr, &f.horizontalSpacer, nullptr}, // not an object
        member("doneButton", "QPushButton", "tavrinUpdateWidget", f.doneButton),
    };
}

// In the order in which they are looked up.
QStringList texts(const Form& form)
{
    QStringList columns;
    for (int column = 0; column < 5; ++column) {
        columns << form.rtsTableWidget->horizontalHeaderItem(column)->text();
    }
    const QTreeWidgetItem* treeHeader = form.updatesTreeWidget->headerItem();
    return QStringList{form.rtsGroupBox->title()} + columns +
           QStringList{form.safeToApplyLabel->text(), form.overrideCautionCheckBox->text(),
                       form.updatesGroupBox->title(), form.fromLabel->text(),
                       form.defaultUrlButton->text(), treeHeader->text(2),
                       treeHeader->text(1),           treeHeader->text(0),
                       form.noUpdatesLabel->text(),   form.progressGroupBox->title(),
                       form.applyButton->text(),      form.doneButton->text()};
}

// Names of widgets and layouts in their order, "spacer" for the rest.
QStringList parts(const QLayout* layout)
{
    QStringList names;
    for (int i = 0; i < layout->count(); ++i) {
        QLayoutItem* item = layout->itemAt(i);
        if (item->widget() != nullptr) {
            names << item->widget()->objectName();
        } else {
            names << (item->layout() != nullptr ? item->layout()->objectName() : QStringLiteral("spacer"));
        }
    }
    return names;
}

} // namespace

class TstForm : public Test
{
    Q_OBJECT

private slots:
    void membersKeepTheirOrder()
    {
        static_assert(std::is_standard_layout_v<Form>, "a plain structure");
        const QVector<Member> members = membersOf(form);
        for (int i = 0; i < members.count(); ++i) {
            QCOMPARE(members.at(i).place, static_cast<const void*>(reinterpret_cast<void* const*>(&form) + i));
        }
        QCOMPARE(sizeof(Form), static_cast<std::size_t>(members.count()) * sizeof(void*));
    }

    void objectHasItsNameClassAndParent_data()
    {
        const Rows<QString, QString> row("className", "parentName");
        for (const Member& member : membersOf(Form())) {
            if (member.className != nullptr) {
                row(member.name, member.className, member.parentName);
            }
        }
    }

    void objectHasItsNameClassAndParent()
    {
        const QString name = QTest::currentDataTag();
        const QVector<Member> members = membersOf(form);
        const auto member =
            std::find_if(members.begin(), members.end(), [&](const Member& m) { return m.name == name; });
        QVERIFY(member->object != nullptr);
        QCOMPARE(member->object->objectName(), name);
        QTEST(QString(member->object->metaObject()->className()), "className");
        QTEST(member->object->parent()->objectName(), "parentName");
    }

    void nothingElseIsInTheForm()
    {
        QCOMPARE(widget->objectName(), QString("tavrinUpdateWidget"));
        const QList<QObject*> named = widget->findChildren<QObject*>(QRegularExpression("^(?!qt_)."));
        QSet<QString> names;
        for (const QObject* object : named) {
            names << object->objectName();
        }
        // 30 members, the spacer is no object, and the widget itself is not among its children.
        QCOMPARE(named.count(), 29);
        QCOMPARE(names.count(), 29);
    }

    void layoutHoldsItsPartsInOrder_data()
    {
        const Rows<QStringList> row("expected");
        row("verticalLayout_5", {"verticalLayout_4"});
        row("verticalLayout_4", {"contentWidget", "horizontalLayout_2"});
        row("verticalLayout_2", {"rtsGroupBox", "splitter"});
        row("verticalLayout_8", {"rtsTableWidget", "warningWidget"});
        row("horizontalLayout_4", {"safeToApplyLabel", "overrideCautionCheckBox"});
        row("verticalLayout", {"horizontalLayout", "updatesTreeWidget", "noUpdatesLabel"});
        row("horizontalLayout", {"fromLabel", "urlLineEdit", "defaultUrlButton"});
        row("verticalLayout_7", {"progressGroupBox"});
        row("verticalLayout_6", {"progressTextEdit"});
        row("horizontalLayout_2", {"applyButton", "spacer", "doneButton"});
    }

    void layoutHoldsItsPartsInOrder()
    {
        const auto* layout = widget->findChild<QLayout*>(QTest::currentDataTag());
        QVERIFY(layout != nullptr);
        QTEST(parts(layout), "expected");
    }

    void layoutHasItsMargins()
    {
        QWidget window;
        const QVBoxLayout ofWindow(&window);
        QWidget child(&window);
        const QVBoxLayout ofChild(&child);
        const QMargins usual = ofWindow.contentsMargins();
        QCOMPARE(form.verticalLayout_5->contentsMargins(), QMargins(usual.left(), 1, usual.right(), 9));
        QCOMPARE(form.horizontalLayout_4->contentsMargins(), QMargins(0, 0, 0, 0));
        QCOMPARE(form.horizontalLayout_4->spacing(), 4);
        for (const QLayout* layout : {form.verticalLayout_2, form.verticalLayout_8, form.verticalLayout,
                                      form.verticalLayout_7, form.verticalLayout_6}) {
            QCOMPARE(layout->contentsMargins(), ofChild.contentsMargins());
            QCOMPARE(layout->spacing(), ofChild.spacing());
        }
        for (const QLayout* layout :
             QList<const QLayout*>{form.verticalLayout_4, form.horizontalLayout, form.horizontalLayout_2}) {
            QCOMPARE(layout->contentsMargins(), QMargins(0, 0, 0, 0)); // the default of a layout inside a layout
            QCOMPARE(layout->spacing(), ofChild.spacing());
        }
        QCOMPARE(form.verticalLayout_5->spacing(), ofChild.spacing());
        QCOMPARE(form.horizontalSpacer->sizeHint(), QSize(17, 17));
        QCOMPARE(form.horizontalSpacer->sizePolicy(), QSizePolicy(QSizePolicy::Expanding, QSizePolicy::Minimum));
        QCOMPARE(form.horizontalLayout_2->itemAt(1), static_cast<QLayoutItem*>(form.horizontalSpacer));
    }

    void sizePolicyIsSet_data()
    {
        const Rows<int, int> row("horizontal", "vertical");
        row("safeToApplyLabel", int(QSizePolicy::MinimumExpanding), int(QSizePolicy::Preferred));
        row("overrideCautionCheckBox", int(QSizePolicy::Minimum), int(QSizePolicy::Fixed));
        row("rtsTableWidget", int(QSizePolicy::Expanding), int(QSizePolicy::Fixed));
        row("updatesTreeWidget", int(QSizePolicy::Expanding), int(QSizePolicy::Expanding));
    }

    void sizePolicyIsSet()
    {
        const auto* object = widget->findChild<QWidget*>(QTest::currentDataTag());
        QVERIFY(object != nullptr);
        const QSizePolicy policy = object->sizePolicy();
        QTEST(int(policy.horizontalPolicy()), "horizontal");
        QTEST(int(policy.verticalPolicy()), "vertical");
        QCOMPARE(policy.horizontalStretch(), 0);
        QCOMPARE(policy.verticalStretch(), 0);
    }

    void fontIsSet()
    {
        QVERIFY(!form.rtsGroupBox->font().bold());
        QCOMPARE(form.rtsGroupBox->font().weight(), 50);
        QVERIFY(form.rtsGroupBox->testAttribute(Qt::WA_SetFont));
        QVERIFY(form.safeToApplyLabel->font().italic());
        QVERIFY(form.noUpdatesLabel->font().italic());
        QCOMPARE(form.noUpdatesLabel->font(), form.safeToApplyLabel->font());
        QVERIFY(!form.fromLabel->font().italic());
        QVERIFY(!form.updatesGroupBox->testAttribute(Qt::WA_SetFont));
    }

    void tableOfRunningSystemsIsSetUp()
    {
        const QTableWidget* table = form.rtsTableWidget;
        QCOMPARE(table->columnCount(), 5);
        QCOMPARE(table->rowCount(), 0);
        for (int column = 0; column < 5; ++column) {
            QVERIFY(table->horizontalHeaderItem(column) != nullptr);
        }
        QCOMPARE(table->minimumSize(), QSize(0, 90));
        QCOMPARE(table->maximumSize(), QSize(16777215, 90));
        QCOMPARE(table->editTriggers(), QAbstractItemView::EditTriggers(QAbstractItemView::NoEditTriggers));
        QVERIFY(table->tabKeyNavigation());
        QCOMPARE(table->property("showDropIndicator"), QVariant(false));
        QVERIFY(!table->showDropIndicator());
        QVERIFY(!table->dragDropOverwriteMode());
        QCOMPARE(table->selectionBehavior(), QAbstractItemView::SelectRows);
        QCOMPARE(table->selectionMode(), QAbstractItemView::ExtendedSelection);
        QVERIFY(table->horizontalHeader()->stretchLastSection());
        QVERIFY(!table->horizontalHeader()->isHidden());
        QVERIFY(table->verticalHeader()->isHidden());
    }

    void treeOfPatchesIsSetUp()
    {
        const QTreeWidget* tree = form.updatesTreeWidget;
        QCOMPARE(tree->columnCount(), 3);
        QCOMPARE(tree->topLevelItemCount(), 0);
        QCOMPARE(tree->verticalScrollBarPolicy(), Qt::ScrollBarAsNeeded);
        QCOMPARE(tree->editTriggers(), QAbstractItemView::EditTriggers(QAbstractItemView::NoEditTriggers));
        QVERIFY(!tree->alternatingRowColors());
        QCOMPARE(tree->selectionMode(), QAbstractItemView::NoSelection);
        QCOMPARE(tree->indentation(), 20);
        QVERIFY(!tree->rootIsDecorated());
        QVERIFY(!tree->wordWrap());
        QVERIFY(!tree->isSortingEnabled());
        QCOMPARE(tree->header()->defaultSectionSize(), 75);
        QCOMPARE(tree->header()->minimumSectionSize(), 10);
        QCOMPARE(tree->header()->sectionSize(0), 75);
        QCOMPARE(tree->header()->sectionSize(1), 75);
    }

    void otherPropertiesAreSet()
    {
        QCOMPARE(form.splitter->orientation(), Qt::Vertical);
        QCOMPARE(form.splitter->count(), 2);
        QCOMPARE(form.splitter->widget(0), static_cast<QWidget*>(form.updatesGroupBox));
        QCOMPARE(form.splitter->widget(1), static_cast<QWidget*>(form.progressScrollArea));
        QVERIFY(form.urlLineEdit->isReadOnly());
        QVERIFY(form.progressScrollArea->widgetResizable());
        QCOMPARE(form.progressScrollArea->widget(), form.scrollAreaWidgetContents);
        QVERIFY(!form.progressTextEdit->acceptDrops());
        QVERIFY(!form.progressTextEdit->isUndoRedoEnabled());
        QVERIFY(form.progressTextEdit->isReadOnly());
        QVERIFY(form.applyButton->isEnabled());
        QCOMPARE(form.applyButton->minimumSize(), QSize(0, 0));
        QVERIFY(form.doneButton->isEnabled());
        QVERIFY(!form.overrideCautionCheckBox->isChecked());
        QVERIFY(!form.overrideCautionCheckBox->isTristate());
        QVERIFY(!widget->testAttribute(Qt::WA_Resized)); // the form sets neither size nor title of the widget
        QCOMPARE(widget->windowTitle(), QString());
    }

    void scrolledContentsGetTheirFirstGeometry()
    {
        QCOMPARE(notedCalls().geometries.values("scrollAreaWidgetContents"), QList<QRect>{QRect(0, 0, 654, 236)});
    }

    void menuBarIsSetNotNative()
    {
        TavrinUpdateBusinessLogic logic("tavrin_update");
        QMainWindow window;
        UI_TavrinUpdateMainWindow windowForm;
        windowForm.setupUi(logic, &window);
        QCOMPARE(notedCalls().nativeMenuBar, QVector<bool>{false});
        QVERIFY(!windowForm.menuBar->isNativeMenuBar());
    }

    void tableKeepsItsHeight()
    {
        widget->resize(700, 800);
        widget->show();
        QCOMPARE(form.rtsTableWidget->height(), 90);
        const int panes = form.splitter->height();
        widget->resize(900, 1100);
        QCoreApplication::processEvents();
        QCOMPARE(form.rtsTableWidget->height(), 90);
        QCOMPARE(form.splitter->height(), panes + 300);
    }

    void textsAreSet()
    {
        QCOMPARE(texts(form), FORM_TEXTS);
    }

    void textsAreLookedUpInTheFormsContext()
    {
        RecordingTranslator translator(RecordingTranslator::bracketsIn(CONTEXT));
        QVERIFY(QCoreApplication::installTranslator(&translator));
        form.retranslateUi(widget);
        QCOMPARE(translator.takeTexts(), inContext(CONTEXT, FORM_TEXTS)); // the tree's columns in the order 2, 1, 0
        QCOMPARE(texts(form), QStringList(FORM_TEXTS).replaceInStrings(QRegularExpression("^(.*)$"), "[\\1]"));
        QVERIFY(QCoreApplication::removeTranslator(&translator));
        form.retranslateUi(widget);
        QCOMPARE(texts(form), FORM_TEXTS);
    }

private:
    void setUp() override
    {
        notedCalls() = NotedCalls();
        widget = new QWidget;
        form.setupUi(widget);
    }

    void tearDown() override
    {
        delete widget;
        widget = nullptr;
    }

    QWidget* widget = nullptr;
    Form form{};
};

TAVRIN_GUI_TEST_MAIN(TstForm)
#include "tst_form.moc"
