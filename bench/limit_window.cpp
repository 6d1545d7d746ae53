// The limit for the start of the window: the same widgets with the same sizes and texts as the program's window has
// when its first list is shown, and nothing behind them: no network, no timer, no slot. The rows of the list come from
// standard input, one on each line: name, mark and description, separated by tabs. Prints a line when it is painted.
#include <QApplication>
#include <QCheckBox>
#include <QFile>
#include <QGroupBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QMenuBar>
#include <QPushButton>
#include <QScrollArea>
#include <QSplitter>
#include <QTableWidget>
#include <QTextEdit>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <cstdio>

namespace {

// A widget whose first picture is announced.
class AnnouncedTree : public QTreeWidget
{
public:
    using QTreeWidget::QTreeWidget;

protected:
    void paintEvent(QPaintEvent* event) override
    {
        QTreeWidget::paintEvent(event);
        if (!isAnnounced) {
            isAnnounced = true;
            std::puts("painted");
            std::fflush(stdout);
        }
    }

private:
    bool isAnnounced = false;
};

QFont italicFont()
{
    QFont font;
    font.setItalic(true);
    return font;
}

QWidget* newSystems()
{
    auto* box = new QGroupBox("No running Tavrin Real Time Systems detected");
    auto* table = new QTableWidget(0, 5);
    table->setHorizontalHeaderLabels({"Version", "Conflict?", "User Name", "rtexec pid", "Working Directory"});
    table->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    table->setFixedHeight(90);
    table->horizontalHeader()->setStretchLastSection(true);
    table->verticalHeader()->setVisible(false);

    auto* warning = new QWidget;
    auto* label = new QLabel("'Apply Patches' button disabled due to conflict with running real-time systems");
    label->setFont(italicFont());
    auto* row = new QHBoxLayout(warning);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(label);
    row->addWidget(new QCheckBox("override"));

    auto* layout = new QVBoxLayout(box);
    layout->addWidget(table);
    layout->addWidget(warning);
    warning->hide();
    return box;
}

QTreeWidget* newList()
{
    auto* tree = new AnnouncedTree;
    tree->setHeaderLabels({"Patch", "Applied?", "Description"});
    tree->setSelectionMode(QAbstractItemView::NoSelection);
    tree->setRootIsDecorated(false);
    tree->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    tree->header()->setDefaultSectionSize(75);
    tree->header()->setMinimumSectionSize(10);

    QFile input;
    if (!input.open(stdin, QIODevice::ReadOnly)) {
        return tree;
    }
    while (!input.atEnd()) {
        const QStringList fields = QString::fromUtf8(input.readLine().trimmed()).split(QLatin1Char('\t'));
        auto* item = new QTreeWidgetItem(tree, fields.mid(0, 2));
        auto* label = new QLabel(fields.last());
        label->setTextFormat(Qt::PlainText);
        label->setContentsMargins(0, 4, 0, 4);
        label->setWordWrap(true);
        tree->setItemWidget(item, 2, label);
    }
    return tree;
}

QWidget* newUpdates(const QString& url)
{
    auto* box = new QGroupBox("Recommended Patches");
    auto* row = new QHBoxLayout;
    row->addWidget(new QLabel("From"));
    row->addWidget(new QLineEdit(url));
    row->addWidget(new QPushButton("Restore Default URL"));
    auto* noUpdates = new QLabel("No new patches");
    noUpdates->setFont(italicFont());

    auto* layout = new QVBoxLayout(box);
    layout->addLayout(row);
    layout->addWidget(newList());
    layout->addWidget(noUpdates);
    noUpdates->hide();
    return box;
}

QWidget* newProgress()
{
    auto* box = new QGroupBox("Progress");
    auto* text = new QTextEdit;
    text->setReadOnly(true);
    (new QVBoxLayout(box))->addWidget(text);
    auto* contents = new QWidget;
    (new QVBoxLayout(contents))->addWidget(box);
    auto* area = new QScrollArea;
    area->setWidgetResizable(true);
    area->setWidget(contents);
    return area;
}

QWidget* newContent(const QString& url)
{
    auto* splitter = new QSplitter(Qt::Vertical);
    splitter->addWidget(newUpdates(url));
    splitter->addWidget(newProgress());
    splitter->setSizes({13, 10});
    auto* content = new QWidget;
    auto* layout = new QVBoxLayout(content);
    layout->addWidget(newSystems());
    layout->addWidget(splitter);
    return content;
}

QLayout* newButtons()
{
    auto* row = new QHBoxLayout;
    row->addWidget(new QPushButton("Apply Patches"));
    row->addStretch();
    row->addWidget(new QPushButton("Done"));
    return row;
}

} // namespace

// Usage: limit_window RELEASE URL < ROWS, with QT_XCB_GL_INTEGRATION=none in the environment
int main(int argc, char** argv)
{
    const QApplication app(argc, argv);
    QMainWindow window;
    window.setWindowTitle(QStringLiteral("Update Tavrin version '%1'").arg(argv[1]));
    window.resize(700, 800);
    window.menuBar()->addMenu("File")->addAction("Quit");
    auto* widget = new QWidget;
    auto* layout = new QVBoxLayout(widget);
    layout->setContentsMargins(-1, 1, -1, 9);
    layout->addWidget(newContent(argv[2]));
    layout->addLayout(newButtons());
    window.setCentralWidget(widget);
    window.show();
    return QApplication::exec();
}
