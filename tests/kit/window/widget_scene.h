// The update widget over a business logic and an installation of its own, with everything that a test touches at hand.
#pragma once

#include "tavrin_update_widget.h"
#include "window_fixture.h"

#include <QCheckBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTableWidget>
#include <QTest>
#include <QTextEdit>
#include <QTranslator>
#include <QTreeWidget>

#include <memory>

struct Scene
{
    Scene()
    {
        installation.withTools();
    }

    /** Opens the widget over a patch source. */
    void open(const QString& source = QStringLiteral("file:///nowhere/"))
    {
        QCOMPARE(initialize(logic, installation, source), QString());
        openWidget();
    }

    /** Opens the widget over the business logic as it now is. */
    void openWidget()
    {
        widget = std::make_unique<TavrinUpdateWidget>(logic);
        widget->resize(700, 800);
        widget->show();
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

    template <typename Kind>
    void find(Kind*& member, const char* name)
    {
        member = widget->findChild<Kind*>(name);
        QVERIFY2(member != nullptr, name);
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

    QStringList cells(int row) const
    {
        QStringList texts;
        for (int column = 0; column < table->columnCount(); ++column) {
            texts << table->item(row, column)->text();
        }
        return texts;
    }

    /** Adds patches to the list without a page. */
    void addPatches(const QStringList& names)
    {
        for (const QString& name : names) {
            logic.addPatchToList(name, name + " 1 Jan 2020", false, name + ".tar", "About " + name);
        }
    }

    void populate() const
    {
        QVERIFY(QMetaObject::invokeMethod(widget.get(), "populateUpdateList"));
    }

    void apply() const
    {
        QVERIFY(QMetaObject::invokeMethod(widget.get(), "on_applyButton_clicked"));
    }

    void refreshTable() const
    {
        QVERIFY(QMetaObject::invokeMethod(widget.get(), "refreshRealTimeSystemTable"));
    }

    OwnRunningSystems systems;
    FakeInstallation installation;
    TavrinUpdateBusinessLogic logic{QStringLiteral("tavrin_update")};
    std::unique_ptr<TavrinUpdateWidget> widget;
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
};

/** Answers every text with the text in brackets behind its context. */
class BracketTranslator : public QTranslator
{
public:
    QString translate(const char* context, const char* sourceText, const char*, int) const override
    {
        return QStringLiteral("%1[%2]").arg(QString::fromUtf8(context), QString::fromUtf8(sourceText));
    }

    bool isEmpty() const override
    {
        return false;
    }
};
