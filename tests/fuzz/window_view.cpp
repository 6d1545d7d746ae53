// Only what follows from the model is compared: no geometry, colours or fonts, which other tests look at.
#include "window_view.h"

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTableWidget>
#include <QTreeWidget>

WindowView::WindowView(const TavrinUpdateWidget& window) : widget(window)
{
}

void WindowView::check(const ShownWindow& shown)
{
    compare(rows(), shown.rows, "the patches shown");
    compare(systems(), shown.systems, "the running systems shown");
    compare(part<QLineEdit>("urlLineEdit")->text(), shown.urlText, "the URL shown");
    require(part<QPushButton>("applyButton")->isEnabled() == shown.applyIsEnabled, "the state of the Apply button");
    require(part<QWidget>("warningWidget")->isHidden() == shown.warningIsHidden, "whether the warning is shown");
    require(part<QLabel>("noUpdatesLabel")->isHidden() == shown.noUpdatesIsHidden, "whether no updates are shown");
    checkProgress(shown.progress);
}

void WindowView::checkProgress(const QStringList& texts)
{
    if (texts.mid(0, progressSoFar.count()) != progressSoFar) {
        progressSoFar.clear();
        otherProgress.clear();
    }
    for (const QString& text : texts.mid(progressSoFar.count())) {
        progressSoFar << text;
        otherProgress.append(text);
    }
    compare(part<QTextEdit>("progressTextEdit")->toPlainText(), otherProgress.toPlainText(), "the progress shown");
}

QStringList WindowView::rows() const
{
    QStringList texts;
    const auto* tree = part<QTreeWidget>("updatesTreeWidget");
    for (int i = 0; i < tree->topLevelItemCount(); ++i) {
        QTreeWidgetItem* item = tree->topLevelItem(i);
        const auto* label = qobject_cast<QLabel*>(tree->itemWidget(item, 2));
        require(label != nullptr, "a row has a description");
        texts << rowOf(item->text(0), item->text(1), label->text());
    }
    return texts;
}

QStringList WindowView::systems() const
{
    QStringList texts;
    const auto* table = part<QTableWidget>("rtsTableWidget");
    for (int row = 0; row < table->rowCount(); ++row) {
        texts << table->item(row, 0)->text() + ' ' + table->item(row, 1)->text();
    }
    return texts;
}
