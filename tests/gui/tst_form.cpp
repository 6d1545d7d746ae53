// The form of the update widget by itself: every widget with its name, class, place and properties, and every text
// with its context. Of the main window's form only what its window does not show.
#include "noted_calls.h"
#include "test.h"
#include "ui_tavrin_update_mainwindow.h"
#include "ui_tavrin_update_widget.h"

#include <QApplication>
#include <QHash>
#include <QTranslator>

#include <cstddef>
#include <type_traits>

namespace {

using Form = UI_TavrinUpdateWidget;

/** Notes what is looked up in the form's context, and answers with the source text in brackets. */
class BracketTranslator : public QTranslator
{
public:
    QString translate(const char* context, const char* sourceText, const char* disambiguation, int n) const override
    {
        if (qstrcmp(context, "QtD_TavrinUpdateMainWindow") != 0) {
            return QString();
        }
        lookUps << QStringLiteral("%1|%2|%3").arg(QString::fromUtf8(sourceText)).arg(disambiguation == nullptr).arg(n);
        return '[' + QString::fromUtf8(sourceText) + ']';
    }

    bool isEmpty() const override
    {
        return false;
    }

    mutable QStringList lookUps;
};

QStringList texts(const Form& form)
{
    return {form.rtsGroupBox->title(),
            form.rtsTableWidget->horizontalHeaderItem(0)->text(),
            form.rtsTableWidget->horizontalHeaderItem(1)->text(),
            form.rtsTableWidget->horizontalHeaderItem(2)->text(),
            form.rtsTableWidget->horizontalHeaderItem(3)->text(),
            form.rtsTableWidget->horizontalHeaderItem(4)->text(),
            form.safeToApplyLabel->text(),
            form.overrideCautionCheckBox->text(),
            form.updatesGroupBox->title(),
            form.fromLabel->text(),
            form.defaultUrlButton->text(),
            form.updatesTreeWidget->headerItem()->text(2),
            form.updatesTreeWidget->headerItem()->text(1),
            form.updatesTreeWidget->headerItem()->text(0),
            form.noUpdatesLabel->text(),
            form.progressGroupBox->title(),
            form.applyButton->text(),
            form.doneButton->text()};
}

const QStringList EXPECTED_TEXTS{
    "Running Tavrin Real Time Systems",
    "Version",
    "Conflict?",
    "User Name",
    "rtexec pid",
    "Working Directory",
    "'Apply Patches' button disabled due to conflict with running real-time systems",
    "override",
    "Recommended Patches",
    "From",
    "Restore Default URL",
    "Description",
    "Applied?",
    "Patch",
    "No new patches",
    "Progress",
    "Apply Patches",
    "Done",
};

/** Every object of the form under the name of the member that holds it. */
QHash<QString, QObject*> objectsByMember(const Form& form)
{
    return {
        {"verticalLayout_5", form.verticalLayout_5},
        {"verticalLayout_4", form.verticalLayout_4},
        {"contentWidget", form.contentWidget},
        {"verticalLayout_2", form.verticalLayout_2},
        {"rtsGroupBox", form.rtsGroupBox},
        {"verticalLayout_8", form.verticalLayout_8},
        {"rtsTableWidget", form.rtsTableWidget},
        {"warningWidget", form.warningWidget},
        {"horizontalLayout_4", form.horizontalLayout_4},
        {"safeToApplyLabel", form.safeToApplyLabel},
        {"overrideCautionCheckBox", form.overrideCautionCheckBox},
        {"splitter", form.splitter},
        {"updatesGroupBox", form.updatesGroupBox},
        {"verticalLayout", form.verticalLayout},
        {"horizontalLayout", form.horizontalLayout},
        {"fromLabel", form.fromLabel},
        {"urlLineEdit", form.urlLineEdit},
        {"defaultUrlButton", form.defaultUrlButton},
        {"updatesTreeWidget", form.updatesTreeWidget},
        {"noUpdatesLabel", form.noUpdatesLabel},
        {"progressScrollArea", form.progressScrollArea},
        {"scrollAreaWidgetContents", form.scrollAreaWidgetContents},
        {"verticalLayout_7", form.verticalLayout_7},
        {"progressGroupBox", form.progressGroupBox},
        {"verticalLayout_6", form.verticalLayout_6},
        {"progressTextEdit", form.progressTextEdit},
        {"horizontalLayout_2", form.horizontalLayout_2},
        {"applyButton", form.applyButton},
        {"doneButton", form.doneButton},
    };
}

/** The parts of a layout in their order: names of widgets and layouts, "spacer" for the rest. */
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
        const QVector<std::size_t> offsets{offsetof(Form, verticalLayout_5),
                                           offsetof(Form, verticalLayout_4),
                                           offsetof(Form, contentWidget),
                                           offsetof(Form, verticalLayout_2),
                                           offsetof(Form, rtsGroupBox),
                                           offsetof(Form, verticalLayout_8),
                                           offsetof(Form, rtsTableWidget),
                                           offsetof(Form, warningWidget),
                                           offsetof(Form, horizontalLayout_4),
                                           offsetof(Form, safeToApplyLabel),
                                           offsetof(Form, overrideCautionCheckBox),
                                           offsetof(Form, splitter),
                                           offsetof(Form, updatesGroupBox),
                                           offsetof(Form, verticalLayout),
                                           offsetof(Form, horizontalLayout),
                                           offsetof(Form, fromLabel),
                                           offsetof(Form, urlLineEdit),
                                           offsetof(Form, defaultUrlButton),
                                           offsetof(Form, updatesTreeWidget),
                                           offsetof(Form, noUpdatesLabel),
                                           offsetof(Form, progressScrollArea),
                                           offsetof(Form, scrollAreaWidgetContents),
                                           offsetof(Form, verticalLayout_7),
                                           offsetof(Form, progressGroupBox),
                                           offsetof(Form, verticalLayout_6),
                                           offsetof(Form, progressTextEdit),
                                           offsetof(Form, horizontalLayout_2),
                                           offsetof(Form, applyButton),
                                           offsetof(Form, horizontalSpacer),
                                           offsetof(Form, doneButton)};
        for (int i = 0; i < offsets.count(); ++i) {
            QCOMPARE(offsets.at(i), static_cast<std::size_t>(i) * sizeof(void*));
        }
        QCOMPARE(sizeof(Form), static_cast<std::size_t>(offsets.count()) * sizeof(void*));
    }

    void objectHasItsNameClassAndParent_data()
    {
        const Rows<QString, QString> row("className", "parentName");
        // In the order of the form's members.
        row("verticalLayout_5", "QVBoxLayout", "tavrinUpdateWidget");
        row("verticalLayout_4", "QVBoxLayout", "verticalLayout_5");
        row("contentWidget", "QWidget", "tavrinUpdateWidget");
        row("verticalLayout_2", "QVBoxLayout", "contentWidget");
        row("rtsGroupBox", "QGroupBox", "contentWidget");
        row("verticalLayout_8", "QVBoxLayout", "rtsGroupBox");
        row("rtsTableWidget", "QTableWidget", "rtsGroupBox");
        row("warningWidget", "QWidget", "rtsGroupBox");
        row("horizontalLayout_4", "QHBoxLayout", "warningWidget");
        row("safeToApplyLabel", "QLabel", "warningWidget");
        row("overrideCautionCheckBox", "QCheckBox", "warningWidget");
        row("splitter", "QSplitter", "contentWidget");
        row("updatesGroupBox", "QGroupBox", "splitter");
        row("verticalLayout", "QVBoxLayout", "updatesGroupBox");
        row("horizontalLayout", "QHBoxLayout", "verticalLayout");
        row("fromLabel", "QLabel", "updatesGroupBox");
        row("urlLineEdit", "QLineEdit", "updatesGroupBox");
        row("defaultUrlButton", "QPushButton", "updatesGroupBox");
        row("updatesTreeWidget", "QTreeWidget", "updatesGroupBox");
        row("noUpdatesLabel", "QLabel", "updatesGroupBox");
        row("progressScrollArea", "QScrollArea", "splitter");
        row("scrollAreaWidgetContents", "QWidget", "qt_scrollarea_viewport");
        row("verticalLayout_7", "QVBoxLayout", "scrollAreaWidgetContents");
        row("progressGroupBox", "QGroupBox", "scrollAreaWidgetContents");
        row("verticalLayout_6", "QVBoxLayout", "progressGroupBox");
        row("progressTextEdit", "QTextEdit", "progressGroupBox");
        row("horizontalLayout_2", "QHBoxLayout", "verticalLayout_4");
        row("applyButton", "QPushButton", "tavrinUpdateWidget");
        row("doneButton", "QPushButton", "tavrinUpdateWidget");
    }

    void objectHasItsNameClassAndParent()
    {
        const QHash<QString, QObject*> members = objectsByMember(form);
        const QObject* object = members.value(QTest::currentDataTag());
        QVERIFY(object != nullptr);
        QCOMPARE(object->objectName(), QString(QTest::currentDataTag()));
        QTEST(QString(object->metaObject()->className()), "className");
        QTEST(object->parent()->objectName(), "parentName");
    }

    void widgetItselfHasItsName()
    {
        QCOMPARE(widget->objectName(), QString("tavrinUpdateWidget"));
    }

    void nothingElseIsInTheForm()
    {
        QStringList names;
        const QList<QObject*> objects = widget->findChildren<QObject*>();
        for (const QObject* object : objects) {
            if (!object->objectName().isEmpty() && !object->objectName().startsWith("qt_")) {
                names << object->objectName();
            }
        }
        // 30 members, the spacer is no object, and the widget itself is not among its children.
        QCOMPARE(names.count(), 29);
        QCOMPARE(names.removeDuplicates(), 0);
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
            QCOMPARE(layout->contentsMargins(), QMargins(0, 0, 0, 0)); // what a layout inside a layout has by itself
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
        QVERIFY(!widget->testAttribute(Qt::WA_Resized)); // the form leaves size and title of the widget alone
        QCOMPARE(widget->windowTitle(), QString());
    }

    void scrolledContentsGetTheirFirstGeometry()
    {
        QVector<QRect> rects;
        for (const NotedCalls::Geometry& geometry : qAsConst(notedCalls().geometries)) {
            if (geometry.objectName == "scrollAreaWidgetContents") {
                rects << geometry.rect;
            }
        }
        QCOMPARE(rects, QVector<QRect>{QRect(0, 0, 654, 236)});
    }

    void menuBarIsToldNotToBeNative()
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

    void paneOfPatchesIsAboveTheProgress()
    {
        QCOMPARE(form.splitter->widget(0), static_cast<QWidget*>(form.updatesGroupBox));
        QCOMPARE(form.splitter->widget(1), static_cast<QWidget*>(form.progressScrollArea));
    }

    void textsAreSet()
    {
        QCOMPARE(texts(form), EXPECTED_TEXTS);
    }

    void textsAreLookedUpInTheFormsContext()
    {
        BracketTranslator translator;
        QVERIFY(QCoreApplication::installTranslator(&translator));
        translator.lookUps.clear();
        form.retranslateUi(widget);
        QCoreApplication::removeTranslator(&translator);
        QStringList expected;
        for (const QString& text : EXPECTED_TEXTS) {
            expected << text + "|1|-1"; // no disambiguation, no number
        }
        QCOMPARE(translator.lookUps, expected); // the tree's columns come in the order 2, 1, 0
    }

    void anotherLanguageReplacesTheTexts()
    {
        BracketTranslator translator;
        QVERIFY(QCoreApplication::installTranslator(&translator));
        form.retranslateUi(widget);
        QStringList bracketed;
        for (const QString& text : EXPECTED_TEXTS) {
            bracketed << '[' + text + ']';
        }
        QCOMPARE(texts(form), bracketed);
        QVERIFY(QCoreApplication::removeTranslator(&translator));
        form.retranslateUi(widget);
        QCOMPARE(texts(form), EXPECTED_TEXTS);
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
    Form form;
};

TAVRIN_GUI_TEST_MAIN(TstForm)
#include "tst_form.moc"
