#include "ui/MessagePanel.h"

#include "ui/AttachedWindow.h"
#include "ui/FlatButton.h"
#include "ui/ImageView.h"
#include "ui/KitStyle.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

namespace {

QLabel* messageLabel(double pointSize, bool bold, const QColor& colour, QWidget* parent) {
    return KitStyle::label(QString(), pointSize, bold, colour, parent);
}

// A centred message keeps room for two lines even when it is shorter.
constexpr int kCentredTextMinimumHeight = 36;
// The bottom margin when the button row ends the panel; the button has its own padding.
constexpr int kBottomMarginAboveButton = 18;

} // namespace

MessagePanel::MessagePanel(Arrangement arrangement, const QString& iconName, const QString& title,
                           QWidget* parent)
    : QWidget(parent), m_arrangement(arrangement), m_column(new QVBoxLayout(this)) {
    setAttribute(Qt::WA_TranslucentBackground);
    setFixedWidth(kWidth);
    auto* icon = new ImageView(iconName, this);
    m_column->setSpacing(12);
    if (arrangement == Arrangement::Heading) {
        icon->setFixedSize(36, 36);
        m_title = messageLabel(15, true, KitStyle::textPrimary(), this);
        m_title->setText(title);
        m_text = messageLabel(12, false, KitStyle::textSecondary(), this);
        auto* heading = new QHBoxLayout;
        heading->setSpacing(12);
        heading->addWidget(icon);
        heading->addWidget(m_title, 1);
        m_column->setContentsMargins(22, 20, 22, 22);
        m_column->addLayout(heading);
    } else {
        icon->setFixedSize(40, 40);
        m_text = messageLabel(13, false, KitStyle::textPrimary(), this);
        m_text->setAlignment(Qt::AlignHCenter | Qt::AlignTop);
        m_text->setTextFormat(Qt::PlainText);
        m_text->setMinimumHeight(kCentredTextMinimumHeight);
        m_column->setContentsMargins(24, 22, 24, 22);
        m_column->addWidget(icon, 0, Qt::AlignHCenter);
    }
    m_text->setWordWrap(true);
    m_column->addWidget(m_text);
    m_contentEnd = m_column->count();
}

void MessagePanel::setText(const QString& text) {
    m_text->setText(text);
    const QMargins margins = m_column->contentsMargins();
    const int floor = m_arrangement == Arrangement::Centred ? kCentredTextMinimumHeight : 0;
    m_text->setMinimumHeight(qMax(floor, m_text->heightForWidth(kWidth - margins.left() - margins.right())));
    adjustSize();
}

QString MessagePanel::text() const {
    return m_text->text();
}

void MessagePanel::addContent(QWidget* widget) {
    m_column->insertWidget(m_contentEnd++, widget);
}

FlatButton* MessagePanel::addButton(const QString& text) {
    if (m_button)
        return m_button;
    m_button = new FlatButton(text, FlatButton::Kind::Primary, this);
    m_button->setDefault(true);
    auto* row = new QHBoxLayout;
    row->addStretch(1);
    row->addWidget(m_button);
    if (m_arrangement == Arrangement::Centred) {
        row->addStretch(1);
        m_column->addSpacing(4);
    }
    m_column->addLayout(row);
    QMargins margins = m_column->contentsMargins();
    margins.setBottom(kBottomMarginAboveButton);
    m_column->setContentsMargins(margins);
    connect(m_button, &QAbstractButton::clicked, this, &MessagePanel::closeWindow);
    return m_button;
}

void MessagePanel::setSuperDelegate(AttachedWindow* host) {
    if (m_host)
        disconnect(m_host, &AttachedWindow::closed, this, &MessagePanel::closed);
    m_host = host;
    if (m_host)
        connect(m_host, &AttachedWindow::closed, this, &MessagePanel::closed);
}

void MessagePanel::closeWindow() {
    if (m_host)
        m_host->close();
    else
        close();
}
