// The form holder of the update widget: it creates the widgets and layouts, names them and sets their texts. The
// members keep their order; the object names are an interface, since the widget's slots are bound by them.
#pragma once

#include "tavrin_update_patchtree.h"
#include "tavrin_update_systemtable.h"

#include <QCheckBox>
#include <QCoreApplication>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QSpacerItem>
#include <QSplitter>
#include <QTableWidget>
#include <QTextEdit>
#include <QVBoxLayout>

struct UI_TavrinUpdateWidget
{
    QVBoxLayout* verticalLayout_5;
    QVBoxLayout* verticalLayout_4;
    QWidget* contentWidget;
    QVBoxLayout* verticalLayout_2;
    QGroupBox* rtsGroupBox;
    QVBoxLayout* verticalLayout_8;
    QTableWidget* rtsTableWidget;
    QWidget* warningWidget;
    QHBoxLayout* horizontalLayout_4;
    QLabel* safeToApplyLabel;
    QCheckBox* overrideCautionCheckBox;
    QSplitter* splitter;
    QGroupBox* updatesGroupBox;
    QVBoxLayout* verticalLayout;
    QHBoxLayout* horizontalLayout;
    QLabel* fromLabel;
    QLineEdit* urlLineEdit;
    QPushButton* defaultUrlButton;
    QTreeWidget* updatesTreeWidget;
    QLabel* noUpdatesLabel;
    QScrollArea* progressScrollArea;
    QWidget* scrollAreaWidgetContents;
    QVBoxLayout* verticalLayout_7;
    QGroupBox* progressGroupBox;
    QVBoxLayout* verticalLayout_6;
    QTextEdit* progressTextEdit;
    QHBoxLayout* horizontalLayout_2;
    QPushButton* applyButton;
    QSpacerItem* horizontalSpacer;
    QPushButton* doneButton;

    /** Fills the widget and binds its slots by name; everything created becomes its child. */
    void setupUi(QWidget* w)
    {
        w->setObjectName(QStringLiteral("tavrinUpdateWidget"));

        verticalLayout_5 = new QVBoxLayout(w);
        verticalLayout_5->setObjectName(QStringLiteral("verticalLayout_5"));
        verticalLayout_5->setContentsMargins(-1, 1, -1, 9);
        verticalLayout_4 = new QVBoxLayout();
        verticalLayout_4->setObjectName(QStringLiteral("verticalLayout_4"));

        contentWidget = new QWidget(w);
        contentWidget->setObjectName(QStringLiteral("contentWidget"));
        verticalLayout_2 = new QVBoxLayout(contentWidget);
        verticalLayout_2->setObjectName(QStringLiteral("verticalLayout_2"));
        setupRunningSystems();
        splitter = new QSplitter(contentWidget);
        splitter->setObjectName(QStringLiteral("splitter"));
        splitter->setOrientation(Qt::Vertical);
        setupUpdates();
        setupProgress();
        verticalLayout_2->addWidget(splitter);
        verticalLayout_4->addWidget(contentWidget);

        setupButtons(w);
        verticalLayout_4->addLayout(horizontalLayout_2);
        verticalLayout_5->addLayout(verticalLayout_4);

        retranslateUi(w);
        QMetaObject::connectSlotsByName(w);
    }

    /** Sets every text of the form again. */
    void retranslateUi(QWidget* /*w*/)
    {
        rtsGroupBox->setTitle(translated("Running Tavrin Real Time Systems"));
        rtsTableWidget->horizontalHeaderItem(0)->setText(translated("Version"));
        rtsTableWidget->horizontalHeaderItem(1)->setText(translated("Conflict?"));
        rtsTableWidget->horizontalHeaderItem(2)->setText(translated("User Name"));
        rtsTableWidget->horizontalHeaderItem(3)->setText(translated("rtexec pid"));
        rtsTableWidget->horizontalHeaderItem(4)->setText(translated("Working Directory"));
        safeToApplyLabel->setText(
            translated("'Apply Patches' button disabled due to conflict with running real-time systems"));
        overrideCautionCheckBox->setText(translated("override"));
        updatesGroupBox->setTitle(translated("Recommended Patches"));
        fromLabel->setText(translated("From"));
        defaultUrlButton->setText(translated("Restore Default URL"));
        QTreeWidgetItem* header = updatesTreeWidget->headerItem();
        header->setText(2, translated("Description"));
        header->setText(1, translated("Applied?"));
        header->setText(0, translated("Patch"));
        noUpdatesLabel->setText(translated("No new patches"));
        progressGroupBox->setTitle(translated("Progress"));
        applyButton->setText(translated("Apply Patches"));
        doneButton->setText(translated("Done"));
    }

private:
    static QString translated(const char* text)
    {
        return QCoreApplication::translate("QtD_TavrinUpdateMainWindow", text);
    }

    static QFont italicFont()
    {
        QFont font;
        font.setItalic(true);
        return font;
    }

    static QSizePolicy sizePolicy(QSizePolicy::Policy horizontal, QSizePolicy::Policy vertical)
    {
        QSizePolicy policy(horizontal, vertical);
        policy.setHorizontalStretch(0);
        policy.setVerticalStretch(0);
        return policy;
    }

    void setupRunningSystems()
    {
        rtsGroupBox = new QGroupBox(contentWidget);
        rtsGroupBox->setObjectName(QStringLiteral("rtsGroupBox"));
        QFont font;
        font.setBold(false);
        font.setWeight(50);
        rtsGroupBox->setFont(font);
        verticalLayout_8 = new QVBoxLayout(rtsGroupBox);
        verticalLayout_8->setObjectName(QStringLiteral("verticalLayout_8"));
        setupRunningSystemsTable();
        verticalLayout_8->addWidget(rtsTableWidget);

        warningWidget = new QWidget(rtsGroupBox);
        warningWidget->setObjectName(QStringLiteral("warningWidget"));
        horizontalLayout_4 = new QHBoxLayout(warningWidget);
        horizontalLayout_4->setObjectName(QStringLiteral("horizontalLayout_4"));
        horizontalLayout_4->setSpacing(4);
        horizontalLayout_4->setContentsMargins(0, 0, 0, 0);
        safeToApplyLabel = new QLabel(warningWidget);
        safeToApplyLabel->setObjectName(QStringLiteral("safeToApplyLabel"));
        safeToApplyLabel->setSizePolicy(sizePolicy(QSizePolicy::MinimumExpanding, QSizePolicy::Preferred));
        safeToApplyLabel->setFont(italicFont());
        horizontalLayout_4->addWidget(safeToApplyLabel);
        overrideCautionCheckBox = new QCheckBox(warningWidget);
        overrideCautionCheckBox->setObjectName(QStringLiteral("overrideCautionCheckBox"));
        overrideCautionCheckBox->setSizePolicy(sizePolicy(QSizePolicy::Minimum, QSizePolicy::Fixed));
        horizontalLayout_4->addWidget(overrideCautionCheckBox);
        verticalLayout_8->addWidget(warningWidget);
        verticalLayout_2->addWidget(rtsGroupBox);
    }

    void setupRunningSystemsTable()
    {
        rtsTableWidget = new TavrinUpdateSystemTable(rtsGroupBox);
        rtsTableWidget->setObjectName(QStringLiteral("rtsTableWidget"));
        rtsTableWidget->setColumnCount(5);
        rtsTableWidget->setHorizontalHeaderItem(0, new QTableWidgetItem());
        rtsTableWidget->setHorizontalHeaderItem(1, new QTableWidgetItem());
        rtsTableWidget->setHorizontalHeaderItem(2, new QTableWidgetItem());
        rtsTableWidget->setHorizontalHeaderItem(3, new QTableWidgetItem());
        rtsTableWidget->setHorizontalHeaderItem(4, new QTableWidgetItem());
        rtsTableWidget->setSizePolicy(sizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed));
        rtsTableWidget->setMinimumSize(QSize(0, 90));
        rtsTableWidget->setMaximumSize(QSize(16777215, 90));
        rtsTableWidget->setEditTriggers(QAbstractItemView::NoEditTriggers);
        rtsTableWidget->setTabKeyNavigation(true);
        rtsTableWidget->setProperty("showDropIndicator", QVariant(false));
        rtsTableWidget->setDragDropOverwriteMode(false);
        rtsTableWidget->setSelectionBehavior(QAbstractItemView::SelectRows);
        rtsTableWidget->horizontalHeader()->setStretchLastSection(true);
        rtsTableWidget->verticalHeader()->setVisible(false);
    }

    void setupUpdates()
    {
        updatesGroupBox = new QGroupBox(splitter);
        updatesGroupBox->setObjectName(QStringLiteral("updatesGroupBox"));
        verticalLayout = new QVBoxLayout(updatesGroupBox);
        verticalLayout->setObjectName(QStringLiteral("verticalLayout"));
        horizontalLayout = new QHBoxLayout();
        horizontalLayout->setObjectName(QStringLiteral("horizontalLayout"));
        fromLabel = new QLabel(updatesGroupBox);
        fromLabel->setObjectName(QStringLiteral("fromLabel"));
        horizontalLayout->addWidget(fromLabel);
        urlLineEdit = new QLineEdit(updatesGroupBox);
        urlLineEdit->setObjectName(QStringLiteral("urlLineEdit"));
        urlLineEdit->setReadOnly(true);
        horizontalLayout->addWidget(urlLineEdit);
        defaultUrlButton = new QPushButton(updatesGroupBox);
        defaultUrlButton->setObjectName(QStringLiteral("defaultUrlButton"));
        horizontalLayout->addWidget(defaultUrlButton);
        verticalLayout->addLayout(horizontalLayout);
        setupUpdatesTree();
        verticalLayout->addWidget(updatesTreeWidget);
        noUpdatesLabel = new QLabel(updatesGroupBox);
        noUpdatesLabel->setObjectName(QStringLiteral("noUpdatesLabel"));
        noUpdatesLabel->setFont(italicFont());
        verticalLayout->addWidget(noUpdatesLabel);
        splitter->addWidget(updatesGroupBox);
    }

    void setupUpdatesTree()
    {
        updatesTreeWidget = new TavrinUpdatePatchTree(updatesGroupBox);
        updatesTreeWidget->setObjectName(QStringLiteral("updatesTreeWidget"));
        updatesTreeWidget->setColumnCount(3);
        updatesTreeWidget->setSizePolicy(sizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding));
        updatesTreeWidget->setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
        updatesTreeWidget->setEditTriggers(QAbstractItemView::NoEditTriggers);
        updatesTreeWidget->setAlternatingRowColors(false);
        updatesTreeWidget->setSelectionMode(QAbstractItemView::NoSelection);
        updatesTreeWidget->setIndentation(20);
        updatesTreeWidget->setRootIsDecorated(false);
        updatesTreeWidget->setWordWrap(false);
        updatesTreeWidget->header()->setDefaultSectionSize(75);
        updatesTreeWidget->header()->setMinimumSectionSize(10);
    }

    void setupProgress()
    {
        progressScrollArea = new QScrollArea(splitter);
        progressScrollArea->setObjectName(QStringLiteral("progressScrollArea"));
        progressScrollArea->setWidgetResizable(true);
        scrollAreaWidgetContents = new QWidget();
        scrollAreaWidgetContents->setObjectName(QStringLiteral("scrollAreaWidgetContents"));
        scrollAreaWidgetContents->setGeometry(QRect(0, 0, 654, 236));
        verticalLayout_7 = new QVBoxLayout(scrollAreaWidgetContents);
        verticalLayout_7->setObjectName(QStringLiteral("verticalLayout_7"));
        progressGroupBox = new QGroupBox(scrollAreaWidgetContents);
        progressGroupBox->setObjectName(QStringLiteral("progressGroupBox"));
        verticalLayout_6 = new QVBoxLayout(progressGroupBox);
        verticalLayout_6->setObjectName(QStringLiteral("verticalLayout_6"));
        progressTextEdit = new QTextEdit(progressGroupBox);
        progressTextEdit->setObjectName(QStringLiteral("progressTextEdit"));
        progressTextEdit->setAcceptDrops(false);
        progressTextEdit->setUndoRedoEnabled(false);
        progressTextEdit->setReadOnly(true);
        verticalLayout_6->addWidget(progressTextEdit);
        verticalLayout_7->addWidget(progressGroupBox);
        progressScrollArea->setWidget(scrollAreaWidgetContents);
        splitter->addWidget(progressScrollArea);
    }

    void setupButtons(QWidget* w)
    {
        horizontalLayout_2 = new QHBoxLayout();
        horizontalLayout_2->setObjectName(QStringLiteral("horizontalLayout_2"));
        applyButton = new QPushButton(w);
        applyButton->setObjectName(QStringLiteral("applyButton"));
        applyButton->setEnabled(true);
        applyButton->setMinimumSize(QSize(0, 0));
        horizontalLayout_2->addWidget(applyButton);
        horizontalSpacer = new QSpacerItem(17, 17, QSizePolicy::Expanding, QSizePolicy::Minimum);
        horizontalLayout_2->addItem(horizontalSpacer);
        doneButton = new QPushButton(w);
        doneButton->setObjectName(QStringLiteral("doneButton"));
        doneButton->setEnabled(true);
        horizontalLayout_2->addWidget(doneButton);
    }
};
