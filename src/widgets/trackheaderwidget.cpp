#include "widgets/trackheaderwidget.h"

#include "widgets/focusring.h"
#include "widgets/namelabel.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPainter>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

constexpr int kHeaderWidth = 140;
constexpr int kMargin = 4;
constexpr int kSpacing = 2;
constexpr QSize kButtonSize{30, 24};

/// Its style sheet replaces the style's own mark of the keyboard focus.
class HeaderButton : public QPushButton {
public:
    using QPushButton::QPushButton;

protected:
    void paintEvent(QPaintEvent* event) override
    {
        QPushButton::paintEvent(event);
        QPainter painter(this);
        focus_ring::paint(painter, *this);
    }
};

} // namespace

TrackHeaderWidget::TrackHeaderWidget(QWidget* parent)
    : QWidget(parent)
    , m_nameLabel(new NameLabel(this))
    , m_nameEditor(new QLineEdit(this))
{
    setFixedWidth(kHeaderWidth);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Expanding);
    setAttribute(Qt::WA_StyledBackground); // or the background below would not be drawn
    setToolTip(tr("Double-click, or press Return on the name, to rename the track"));

    auto* const column = new QVBoxLayout(this);
    column->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
    column->setSpacing(kSpacing);

    addName(column);
    auto* const row = new QHBoxLayout;
    row->setSpacing(kSpacing);
    m_muteButton =
        addButton(row, tr("M"), tr("Mute"), QStringLiteral("background: #c44; color: #fff;"));
    connect(m_muteButton, &QPushButton::clicked, this, &TrackHeaderWidget::onMuteClicked);
    m_soloButton =
        addButton(row, tr("S"), tr("Solo"), QStringLiteral("background: #cc4; color: #333;"));
    connect(m_soloButton, &QPushButton::clicked, this, &TrackHeaderWidget::onSoloClicked);
    // Assistive technology toggles a button without a click. Told later, for by then a
    // click has done its work and leaves nothing to do.
    connect(m_muteButton, &QPushButton::toggled, this, &TrackHeaderWidget::followToggles,
            Qt::QueuedConnection);
    connect(m_soloButton, &QPushButton::toggled, this, &TrackHeaderWidget::followToggles,
            Qt::QueuedConnection);
    row->addStretch();
    column->addLayout(row);
    column->addStretch();

    setTabOrder(m_nameLabel, m_nameEditor);
    setTabOrder(m_nameEditor, m_muteButton);
    setTabOrder(m_muteButton, m_soloButton);
    setStyleSheet(
        QStringLiteral("TrackHeaderWidget { background: #2a2a2a; border-right: 1px solid #555; }"));
    showName();
}

TrackHeaderWidget::~TrackHeaderWidget()
{
    // An editor that loses the focus because it dies ends no edit.
    m_nameEditor->disconnect(this);
    m_nameEditor->removeEventFilter(this);
}

void TrackHeaderWidget::addName(QVBoxLayout* column)
{
    m_nameLabel->setAlignment(Qt::AlignCenter);
    m_nameLabel->setStyleSheet(
        QStringLiteral("QLabel { color: #ddd; font-weight: bold; padding: 2px; }"));
    m_nameLabel->setAccessibleDescription(tr("Press Return to rename the track"));
    connect(m_nameLabel, &NameLabel::activated, this, &TrackHeaderWidget::enterEditor);
    column->addWidget(m_nameLabel);

    m_nameEditor->setAlignment(Qt::AlignCenter);
    m_nameEditor->setAccessibleName(tr("Track name"));
    m_nameEditor->hide();
    m_nameEditor->installEventFilter(this);
    connect(m_nameEditor, &QLineEdit::editingFinished, this,
            &TrackHeaderWidget::onNameEditFinished);
    column->addWidget(m_nameEditor);
}

QPushButton* TrackHeaderWidget::addButton(QHBoxLayout* row, const QString& text,
                                          const QString& toolTip, const QString& checkedColours)
{
    auto* const button = new HeaderButton(text, this);
    button->setCheckable(true);
    button->setFixedSize(kButtonSize);
    button->setToolTip(toolTip);
    button->setStyleSheet(QStringLiteral("QPushButton { background: #444; color: #aaa; "
                                         "border: 1px solid #555; border-radius: 3px; "
                                         "font-weight: bold; }"
                                         "QPushButton:checked { %1 }")
                              .arg(checkedColours));
    row->addWidget(button);
    return button;
}

void TrackHeaderWidget::setTrack(const TrackHandle& track)
{
    if (m_editing)
        leaveEditor();
    m_track = track;
    m_muteButton->setChecked(track && track->muted);
    m_soloButton->setChecked(track && track->solo);
    showName();
}

void TrackHeaderWidget::showName()
{
    const QString name = m_track ? shownName(m_track->name) : QString();
    m_nameLabel->setName(name);
    m_muteButton->setAccessibleName(m_track ? tr("Mute %1").arg(name) : tr("Mute"));
    m_soloButton->setAccessibleName(m_track ? tr("Solo %1").arg(name) : tr("Solo"));
}

void TrackHeaderWidget::onMuteClicked()
{
    if (!m_track)
        return;
    m_track->muted = m_muteButton->isChecked();
    emit muteToggled(m_track->muted);
}

void TrackHeaderWidget::onSoloClicked()
{
    if (!m_track)
        return;
    m_track->solo = m_soloButton->isChecked();
    emit soloToggled(m_track->solo);
}

void TrackHeaderWidget::followToggles()
{
    if (!m_track)
        return;
    if (m_track->muted != m_muteButton->isChecked())
        onMuteClicked();
    if (m_track->solo != m_soloButton->isChecked())
        onSoloClicked();
}

void TrackHeaderWidget::mouseDoubleClickEvent(QMouseEvent* event)
{
    if (enterEditor())
        event->accept();
    else
        QWidget::mouseDoubleClickEvent(event);
}

bool TrackHeaderWidget::enterEditor()
{
    if (!m_track || m_editing)
        return false;
    m_editing = true;
    m_nameLabel->hide();
    m_nameEditor->setText(m_track->name);
    m_nameEditor->show();
    m_nameEditor->setFocus();
    m_nameEditor->selectAll();
    return true;
}

void TrackHeaderWidget::onNameEditFinished()
{
    if (!m_editing)
        return;
    leaveEditor();
    const QString text = m_nameEditor->text();
    const QString name = text.trimmed();
    if (name.isEmpty() || !m_track || name == m_track->name)
        return;
    // A name longer than the field may hold is not cut by leaving the field.
    if (text.size() == m_nameEditor->maxLength() && m_track->name.startsWith(text))
        return;
    m_track->name = name;
    showName();
    emit nameChanged(name);
}

bool TrackHeaderWidget::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == m_nameEditor && m_editing) {
        const bool isKey =
            event->type() == QEvent::KeyPress || event->type() == QEvent::ShortcutOverride;
        if (isKey && static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape) {
            if (event->type() == QEvent::KeyPress)
                leaveEditor();
            event->accept();
            return true;
        }
    }
    return QWidget::eventFilter(watched, event);
}

void TrackHeaderWidget::leaveEditor()
{
    m_editing = false; // first: losing the focus below also ends the editing
    m_nameLabel->show();
    // Otherwise hiding the editor would hand the focus on to the Mute button, now or when
    // the window is active again.
    if (window()->focusWidget() == m_nameEditor)
        m_nameLabel->setFocus();
    m_nameEditor->hide();
}
