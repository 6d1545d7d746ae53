// The behaviour of the window's central widget: filling the tree of patches, reading the running systems, the rule of
// the Apply button, and what the buttons do. The order of the steps matters in several places, because later steps read
// what earlier ones have left in the widgets: the scroll bar's policy depends on whether the bar is visible yet.
#include "tavrin_update_widget.h"

#include "tavrin_update_bl.h"
#include "tavrin_update_systeminfo.h"
#include "ui_tavrin_update_widget.h"

#include <QHash>
#include <QMessageBox>
#include <QScrollBar>

#include <cstdlib>

const QString RUNNING_SYSTEM_TITLE =
    QString::fromLatin1(QT_TRANSLATE_NOOP("QtD_TavrinUpdateMainWindow", "1 running Tavrin Real Time System detected"));
const QString RUNNING_SYSTEMS_TITLE = QStringLiteral(" running Tavrin Real Time Systems detected");

namespace {

/** Translates a text in the form's translation context. */
QString formText(const QString& text)
{
    return QCoreApplication::translate("QtD_TavrinUpdateMainWindow", text.toUtf8().constData());
}

/** The label that shows a description in its row of the tree. */
QLabel* newDescriptionLabel(const QString& description)
{
    auto* label = new QLabel(description);
    label->setTextFormat(Qt::PlainText); // a "<b>" in a description is to be shown as it is
    label->setContentsMargins(0, 4, 0, 4);
    label->setWordWrap(true);
    return label;
}

/** The row of a patch. The label shows the description, but assistive technology reads the text of the row only. */
QTreeWidgetItem* newPatchItem(const QString& name, const QString& mark, const QString& description)
{
    auto* item = new QTreeWidgetItem({name, mark});
    item->setData(2, Qt::AccessibleTextRole, description);
    return item;
}

/** A cell of the table of running systems. */
QTableWidgetItem* newCell(const QString& text, Qt::AlignmentFlag horizontal)
{
    auto* cell = new QTableWidgetItem(text);
    cell->setTextAlignment(horizontal);
    cell->setTextAlignment(Qt::AlignVCenter); // required: replaces the line before
    return cell;
}

} // namespace

TavrinUpdateWidget::TavrinUpdateWidget(TavrinUpdateBusinessLogic& businessLogic, QWidget* parent)
    : QWidget(parent), ui(new UI_TavrinUpdateWidget), logic(businessLogic), safeToApply(true), rtsTimer(this)
{
    ui->setupUi(this);
    labelPalette = ui->safeToApplyLabel->palette();

    QHeaderView* rowHeader = ui->rtsTableWidget->verticalHeader();
    rowHeader->setDefaultSectionSize(rowHeader->fontMetrics().height() + 6);
    ui->warningWidget->hide();
    ui->noUpdatesLabel->hide();
    if (logic.urlIsOverridden()) {
        ui->urlLineEdit->setReadOnly(false);
    } else {
        ui->urlLineEdit->setReadOnly(true);
        ui->defaultUrlButton->hide();
    }
    ui->urlLineEdit->setText(logic.getCurrentUrlString());
    ui->splitter->setSizes({13, 10});

    connect(&logic, SIGNAL(patchListReady()), this, SLOT(populateUpdateList()));
    connect(&logic, SIGNAL(updatePatchStatus()), this, SLOT(refreshPatchStatus()));
    connect(&logic, SIGNAL(appendProgress(const QString&)), this, SLOT(appendProgress(const QString&)));
    connect(&logic, SIGNAL(processFailed(const QString&)), this, SLOT(presentErrorMessage(const QString&)));

    nameForAssistiveTechnology();
}

QString TavrinUpdateWidget::getWindowTitle() const
{
    return logic.getWindowTitle();
}

void TavrinUpdateWidget::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
}

void TavrinUpdateWidget::changeEvent(QEvent* event)
{
    if (event->type() == QEvent::LanguageChange) {
        ui->retranslateUi(this);
        nameForAssistiveTechnology();
    }
    QWidget::changeEvent(event);
}

void TavrinUpdateWidget::nameForAssistiveTechnology()
{
    ui->fromLabel->setBuddy(ui->urlLineEdit);
    ui->rtsTableWidget->setAccessibleName(formText(QStringLiteral("Running Tavrin Real Time Systems")));
    ui->overrideCautionCheckBox->setAccessibleDescription(ui->safeToApplyLabel->text());
    ui->updatesTreeWidget->setAccessibleName(ui->updatesGroupBox->title());
    ui->progressScrollArea->setAccessibleName(ui->progressGroupBox->title());
    ui->progressTextEdit->setAccessibleName(ui->progressGroupBox->title());
}

void TavrinUpdateWidget::populateUpdateList()
{
    QTreeWidget* tree = ui->updatesTreeWidget;
    tree->clear();

    QList<QTreeWidgetItem*> items;
    QList<QLabel*> labels;
    QTreeWidgetItem* firstNotInstalled = nullptr;
    while (logic.nextPatch()) {
        if (!patchIsShown(logic.getPatchName())) {
            continue;
        }
        const bool installed = logic.patchIsInstalled();
        const QString description = logic.getPatchDescription().simplified();
        QTreeWidgetItem* item = newPatchItem(logic.getPatchName(), installed ? tr("Y") : tr("N"), description);
        items.append(item);
        labels.append(newDescriptionLabel(description));
        if (firstNotInstalled == nullptr && !installed) {
            firstNotInstalled = item;
        }
    }
    fillPatchTree(*tree, items, labels);
    if (firstNotInstalled != nullptr) {
        tree->scrollToItem(firstNotInstalled, QAbstractItemView::EnsureVisible);
    }
    if (tree->verticalScrollBar()->isVisible()) {
        tree->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn); // required: never set back
    }

    refreshRealTimeSystemTable();
    if (!rtsTimer.isActive()) {
        connect(&rtsTimer, SIGNAL(timeout()), this, SLOT(refreshRealTimeSystemTable()));
        rtsTimer.start(1000);
    }
    enableApplyButton();
}

bool TavrinUpdateWidget::patchIsShown(const QString& name) const
{
    // Required: a trial patch is shown only when it is the only patch.
    return logic.getPatchCount() == 1 || !name.toLower().startsWith(QLatin1String("trialpatch"));
}

void TavrinUpdateWidget::refreshPatchStatus()
{
    // getTopLevelItem() would search the whole list for every patch. Like there, the first item of a name counts.
    QHash<QString, QTreeWidgetItem*> itemOfName;
    for (int i = ui->updatesTreeWidget->topLevelItemCount() - 1; i >= 0; --i) {
        QTreeWidgetItem* item = ui->updatesTreeWidget->topLevelItem(i);
        itemOfName.insert(item->text(0), item);
    }
    while (logic.nextPatch()) {
        QTreeWidgetItem* item = itemOfName.value(logic.getPatchName());
        if (item == nullptr) {
            continue; // a trial patch that is not shown
        }
        const QString mark = logic.patchIsInstalled() ? tr("Y") : tr("N");
        if (item->text(1) != mark) {
            item->setText(1, mark);
        }
    }
    enableApplyButton();
}

QTreeWidgetItem* TavrinUpdateWidget::getTopLevelItem(QString name) const
{
    for (int i = 0; i < ui->updatesTreeWidget->topLevelItemCount(); ++i) {
        QTreeWidgetItem* item = ui->updatesTreeWidget->topLevelItem(i);
        if (item->text(0) == name) {
            return item;
        }
    }
    return nullptr;
}

void TavrinUpdateWidget::refreshRealTimeSystemTable()
{
    ui->rtsTableWidget->setRowCount(0);
    safeToApply = true;
    QString title = formText(QStringLiteral("No") + RUNNING_SYSTEMS_TITLE);
    Pidrtsys* systems = nullptr;
    const int count = TavrinUpdateSystemInfo::getRunningRealTimeSystems(&systems);
    if (systems != nullptr && count >= 1) {
        title = formText(count == 1 ? RUNNING_SYSTEM_TITLE : QString::number(count) + RUNNING_SYSTEMS_TITLE);
        fillRealTimeSystemTable(systems, count);
    }
    delete[] systems;
    ui->rtsGroupBox->setTitle(title);
    enableApplyButton();
}

void TavrinUpdateWidget::fillRealTimeSystemTable(const Pidrtsys* systems, int count)
{
    QTableWidget* table = ui->rtsTableWidget;
    table->setRowCount(count);
    const QString release = logic.getTavrinRelease();
    QTableWidgetItem* firstConflict = nullptr;
    for (int row = 0; row < count; ++row) {
        const Pidrtsys& system = systems[row];
        const QString version = fieldText(system.version);
        const bool conflict = version == release;
        QTableWidgetItem* versionCell = newCell(version, Qt::AlignHCenter);
        table->setItem(row, 0, versionCell);
        if (conflict) {
            safeToApply = false;
            firstConflict = firstConflict == nullptr ? versionCell : firstConflict;
        }
        table->setItem(row, 1, newCell(conflict ? tr("**Conflict**") : tr("No Conflict"), Qt::AlignHCenter));
        table->setItem(row, 2, newCell(fieldText(system.userName), Qt::AlignHCenter));
        table->setItem(row, 3, newCell(QString::number(system.rtexecPid), Qt::AlignHCenter));
        table->setItem(row, 4, newCell(fieldText(system.workingDirectory), Qt::AlignLeft));
    }
    table->scrollToItem(firstConflict, QAbstractItemView::EnsureVisible);
    table->setCurrentItem(firstConflict);
    table->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
}

void TavrinUpdateWidget::enableApplyButton()
{
    bool enabled = false;
    if (logic.updatesNeeded()) {
        ui->noUpdatesLabel->hide();
        ui->warningWidget->setVisible(!safeToApply);
        enabled = safeToApply || ui->overrideCautionCheckBox->isChecked();
    } else {
        ui->warningWidget->hide();
        ui->noUpdatesLabel->show();
    }
    ui->applyButton->setEnabled(enabled);
}

void TavrinUpdateWidget::on_overrideCautionCheckBox_stateChanged(int state)
{
    QPalette palette = labelPalette;
    if (state != 0) {
        palette.setBrush(QPalette::WindowText, QBrush(Qt::darkGray, Qt::SolidPattern));
    }
    ui->safeToApplyLabel->setPalette(palette);
    enableApplyButton();
}

void TavrinUpdateWidget::on_urlLineEdit_editingFinished()
{
    ui->updatesTreeWidget->clear();
    ui->progressTextEdit->clear();
    setUrl(ui->urlLineEdit->text());
}

void TavrinUpdateWidget::on_defaultUrlButton_clicked()
{
    ui->updatesTreeWidget->clear();
    ui->progressTextEdit->clear();
    ui->urlLineEdit->setText(logic.getDefaultUrlString());
    setUrl(logic.getDefaultUrlString());
}

void TavrinUpdateWidget::setUrl(const QString& url)
{
    const QString message = logic.setUrl(url);
    if (!message.isEmpty()) {
        appendProgress(message);
    }
}

void TavrinUpdateWidget::on_applyButton_clicked()
{
    ui->progressTextEdit->clear();
    if (!safeToApply) {
        const auto answer = QMessageBox::warning(
            this, tr("Update Tavrin"),
            tr("You are attempting to update Tavrin while a real-time system is running. This is ill-advised as the "
               "consequences are, in general, unpredictable.\nProceed anyways?"), // required wording
            QMessageBox::Yes | QMessageBox::Cancel);
        if (answer == QMessageBox::Cancel) {
            return;
        }
    }
    const QString overrideWarning = logic.getReleaseOverriddenWarning();
    if (!overrideWarning.isEmpty()) {
        // Required: this title is not translated.
        QMessageBox::warning(this, QStringLiteral("Apply Patches"), logic.formatForGui(overrideWarning),
                             QMessageBox::Ok);
    }
    if (logic.showProposed()) {
        appendProgress(TavrinUpdateBusinessLogic::tr(SHOW_PROPOSED_TEXT.toUtf8().constData()));
    }
    logic.applyPatches();
}

void TavrinUpdateWidget::on_doneButton_clicked()
{
    std::exit(0);
}

void TavrinUpdateWidget::appendProgress(const QString& text)
{
    ui->progressTextEdit->append(text);
}

void TavrinUpdateWidget::presentErrorMessage(const QString& text)
{
    QMessageBox box;
    box.setText(tr("Tavrin Update Warning"));
    box.setDetailedText(text);
    box.exec();
}
