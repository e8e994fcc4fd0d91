#include "shortcuts/shortcuthelpwidget.h"

#include "shortcuts/shortcutfilterproxymodel.h"
#include "shortcuts/shortcutmodel.h"
#include "shortcuts/shortcutregistry.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QRegularExpression>
#include <QShortcut>
#include <QStyledItemDelegate>
#include <QTableView>
#include <QVBoxLayout>

namespace {

constexpr QSize kWindowSize{633, 520};
constexpr int kFilterHeight = 28;
constexpr QColor kActiveText{235, 235, 235};

/// A plain text edit of one line: what would begin a second one moves on to the
/// next control instead, and pasted line breaks become blanks, or nothing at the ends.
class OneLineEdit : public QPlainTextEdit {
public:
    using QPlainTextEdit::QPlainTextEdit;

protected:
    void keyPressEvent(QKeyEvent* event) override
    {
        switch (event->key()) {
        case Qt::Key_Return:
        case Qt::Key_Enter:
        case Qt::Key_Down:
            focusNextChild();
            return;
        default:
            QPlainTextEdit::keyPressEvent(event);
        }
    }

    void insertFromMimeData(const QMimeData* source) override
    {
        static const QRegularExpression kLineBreaks(QStringLiteral("[\\r\\n\\x{2028}\\x{2029}]+"));
        insertPlainText(
            source->text().split(kLineBreaks, Qt::SkipEmptyParts).join(QLatin1Char(' ')));
    }
};

/// Keys are spelled from left to right, or a plus at the end of one would be drawn at its
/// beginning in a window that reads from right to left.
class KeyTextDelegate : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override
    {
        QStyledItemDelegate::initStyleOption(option, index);
        option->direction = Qt::LeftToRight;
    }
};

} // namespace

ShortcutHelpWidget::ShortcutHelpWidget(const ShortcutRegistry& registry)
    : QWidget(nullptr)
    , m_filter(new OneLineEdit(this))
    , m_table(new QTableView(this))
    , m_model(new ShortcutModel(this))
    , m_proxy(new ShortcutFilterProxyModel(this))
{
    setObjectName(QStringLiteral("ShortcutHelpWidget"));
    setWindowTitle(tr("Keyboard Shortcuts"));
    setAttribute(Qt::WA_QuitOnClose, false);
    resize(kWindowSize);
    buildForm();
    fillModel(registry);
    buildTable();
    QMetaObject::connectSlotsByName(this);

    auto* escape = new QShortcut(Qt::Key_Escape, this);
    connect(escape, &QShortcut::activated, this, &QWidget::close);
}

void ShortcutHelpWidget::showHelp()
{
    m_model->setCurrentContext(QString::fromUtf16(kContextGlobal));
    setWindowState(windowState() & ~Qt::WindowMinimized);
    show();
    raise();
    activateWindow();
    m_filter->setFocus();
}

void ShortcutHelpWidget::on_plainTextEditFilter_textChanged()
{
    m_proxy->setFilterRegularExpression(
        QRegularExpression(m_filter->toPlainText(), QRegularExpression::CaseInsensitiveOption));
}

void ShortcutHelpWidget::buildForm()
{
    auto* label = new QLabel(tr("Filter"), this);
    label->setObjectName(QStringLiteral("label"));
    label->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    label->setMinimumSize(0, kFilterHeight);
    label->setBaseSize(0, kFilterHeight);
    label->setBuddy(m_filter);

    m_filter->setObjectName(QStringLiteral("plainTextEditFilter"));
    m_filter->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    m_filter->setMinimumSize(0, kFilterHeight);
    m_filter->setMaximumSize(QWIDGETSIZE_MAX, kFilterHeight);
    m_filter->setAccessibleName(tr("Filter"));
    m_filter->setTabChangesFocus(true);
    m_filter->setLineWrapMode(QPlainTextEdit::NoWrap);
    m_filter->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_filter->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);

    m_table->setObjectName(QStringLiteral("tableViewKeyboardShortcuts"));
    QSizePolicy policy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    policy.setVerticalStretch(1);
    m_table->setSizePolicy(policy);
    m_table->setAccessibleName(tr("Keyboard Shortcuts"));

    auto* vertical = new QVBoxLayout(this);
    vertical->setObjectName(QStringLiteral("verticalLayout"));
    auto* horizontal = new QHBoxLayout;
    horizontal->setObjectName(QStringLiteral("horizontalLayout"));
    horizontal->addWidget(label);
    horizontal->addWidget(m_filter);
    vertical->addLayout(horizontal);
    vertical->addWidget(m_table);
}

void ShortcutHelpWidget::buildTable()
{
    m_table->setTabKeyNavigation(false);
    m_table->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_table->setItemDelegateForColumn(ShortcutModel::ShortcutColumn, new KeyTextDelegate(this));
    m_table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    // The rows are shaded dark under any theme, so their text has to be light.
    QPalette palette = m_table->palette();
    palette.setColor(QPalette::Base, ShortcutModel::kInactiveBackground);
    palette.setColor(QPalette::Text, kActiveText);
    m_table->setPalette(palette);

    QHeaderView* columns = m_table->horizontalHeader();
    columns->setStretchLastSection(true);
    columns->setSectionResizeMode(ShortcutModel::NameColumn, QHeaderView::ResizeToContents);
    columns->setSectionResizeMode(ShortcutModel::DetailsColumn, QHeaderView::Stretch);
    columns->setSectionResizeMode(ShortcutModel::ContextColumn, QHeaderView::ResizeToContents);
    columns->setSectionResizeMode(ShortcutModel::ShortcutColumn, QHeaderView::ResizeToContents);
    // Long details take a second line rather than an ellipsis.
    m_table->verticalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    connect(columns, &QHeaderView::sectionResized, m_table, &QTableView::resizeRowsToContents);
    m_table->verticalHeader()->hide();
}

void ShortcutHelpWidget::fillModel(const ShortcutRegistry& registry)
{
    m_model->setEntries(registry.entries());
    m_model->setHoldEntries(registry.holdEntries());
    m_proxy->setSourceModel(m_model);
    m_table->setModel(m_proxy);
}
