#include "widgets/popout.h"

#include <QApplication>
#include <QBoxLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QWindow>

namespace {

/// The layout, `root` or one nested in it, that places `widget` itself.
QLayout* layoutPlacing(QLayout* root, QWidget* widget)
{
    if (root == nullptr || root->indexOf(widget) >= 0)
        return root;
    for (int i = 0; i < root->count(); ++i) {
        if (QLayout* nested = root->itemAt(i)->layout()) {
            QLayout* found = layoutPlacing(nested, widget);
            if (found != nullptr)
                return found;
        }
    }
    return nullptr;
}

void addTo(QLayout* layout, QWidget* widget, int index, int stretch, Qt::Alignment alignment)
{
    if (auto* box = qobject_cast<QBoxLayout*>(layout))
        box->insertWidget(index, widget, stretch, alignment);
    else
        layout->addWidget(widget);
}

/// A window that takes over the activation from one that became a part of it is
/// not told so by the toolkit, and nothing in it could get the focus.
void announceActivation(QWidget* window)
{
    const QWindow* handle = window->windowHandle();
    if (handle == nullptr || QGuiApplication::focusWindow() != handle || window->isActiveWindow())
        return;
    QT_WARNING_PUSH
    // Newer toolkits recommend activateWindow() instead, but that asks the system,
    // which has nothing to change.
    QT_WARNING_DISABLE_DEPRECATED
    QApplication::setActiveWindow(window);
    QT_WARNING_POP
}

/// The nearest widget before `widget` in its window that the Tab key stops at.
QWidget* tabPredecessor(QWidget* widget)
{
    QWidget* candidate = widget->previousInFocusChain();
    while (candidate != widget && (candidate->focusPolicy() & Qt::TabFocus) == 0)
        candidate = candidate->previousInFocusChain();
    return candidate == widget ? nullptr : candidate;
}

} // namespace

PopOut::PopOut(QWidget* widget)
    : QObject(widget)
    , m_widget(widget)
{
    m_restoreSoon.setSingleShot(true);
    connect(&m_restoreSoon, &QTimer::timeout, this, &PopOut::restore);
    m_widget->installEventFilter(this);
}

PopOut::~PopOut()
{
    delete m_placeholder;
}

bool PopOut::popOut(const QString& title, QSize size)
{
    if (m_poppedOut || m_widget->parentWidget() == nullptr)
        return false;
    const bool hadFocus = m_widget->hasFocus();
    rememberPlace();
    insertPlaceholder();
    connect(m_formerParent, &QObject::destroyed, this, [this] { delete m_widget; });

    m_widget->setParent(nullptr, Qt::Window);
    m_widget->setAttribute(Qt::WA_QuitOnClose, false);
    m_widget->setWindowTitle(title);
    m_widget->resize(size);
    m_poppedOut = true;
    m_widget->show();
    if (hadFocus)
        takeFocus();
    return true;
}

void PopOut::rememberPlace()
{
    m_formerParent = m_widget->parentWidget();
    m_formerGeometry = m_widget->geometry();
    m_formerTabPredecessor = tabPredecessor(m_widget);
    m_formerLayout = layoutPlacing(m_formerParent->layout(), m_widget);
    m_formerIndex = -1;
    m_formerStretch = 0;
    m_formerAlignment = {};
    if (m_formerLayout != nullptr) {
        m_formerIndex = m_formerLayout->indexOf(m_widget);
        m_formerAlignment = m_formerLayout->itemAt(m_formerIndex)->alignment();
        if (auto* box = qobject_cast<QBoxLayout*>(m_formerLayout))
            m_formerStretch = box->stretch(m_formerIndex);
    }
}

void PopOut::insertPlaceholder()
{
    auto* label = new QLabel(tr("Popped out — double-click to restore"), m_formerParent);
    label->setAlignment(Qt::AlignCenter);
    label->setStyleSheet(QStringLiteral(
        "background: #1a1a1a; color: #666; border: 1px dashed #444; font-size: 11px;"));
    label->setMinimumSize(m_widget->minimumSizeHint().expandedTo({0, 0}));
    label->setSizePolicy(m_widget->sizePolicy());
    label->installEventFilter(this);
    m_placeholder = label;
    if (m_formerLayout != nullptr) {
        m_formerLayout->removeWidget(m_widget);
        addTo(m_formerLayout, m_placeholder, m_formerIndex, m_formerStretch, m_formerAlignment);
    } else {
        m_placeholder->setGeometry(m_formerGeometry);
    }
    m_placeholder->show();
}

void PopOut::restore()
{
    if (!m_poppedOut || m_formerParent == nullptr)
        return;
    const bool hadFocus = m_widget->hasFocus();
    disconnect(m_formerParent, &QObject::destroyed, this, nullptr);
    m_restoreSoon.stop();
    m_widget->hide();
    m_widget->setWindowState(Qt::WindowNoState);
    if (m_placeholder != nullptr) {
        if (m_formerLayout != nullptr)
            m_formerLayout->removeWidget(m_placeholder);
        m_placeholder->hide();
        // Later, because the double-click may still be on its way through it.
        m_placeholder->deleteLater();
        m_placeholder.clear();
    }
    m_widget->setParent(m_formerParent, Qt::WindowFlags());
    if (m_formerLayout != nullptr)
        addTo(m_formerLayout, m_widget, m_formerIndex, m_formerStretch, m_formerAlignment);
    else
        m_widget->setGeometry(m_formerGeometry);
    restoreFocusOrder();
    m_poppedOut = false;
    m_widget->show();
    announceActivation(m_widget->window());
    if (hadFocus)
        takeFocus();
    m_formerIndex = -1;
    m_formerParent.clear();
    m_formerLayout.clear();
}

void PopOut::takeFocus()
{
    m_widget->activateWindow();
    m_widget->setFocus(Qt::OtherFocusReason);
}

void PopOut::restoreFocusOrder()
{
    if (m_formerTabPredecessor != nullptr &&
        m_formerTabPredecessor->window() == m_widget->window()) {
        QWidget::setTabOrder(m_formerTabPredecessor, m_widget);
    }
    m_formerTabPredecessor.clear();
}

bool PopOut::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == m_placeholder && event->type() == QEvent::MouseButtonDblClick &&
        static_cast<QMouseEvent*>(event)->button() == Qt::LeftButton) {
        restore();
        return true;
    }
    // Not at once, because what accepts the event is hidden after it, and refusing it
    // would keep the whole application from quitting.
    if (watched == m_widget && event->type() == QEvent::Close && m_poppedOut)
        m_restoreSoon.start(0);
    return QObject::eventFilter(watched, event);
}
