#include "filecopy/CopyMakeSureWC.h"

#include "ui/FlatButton.h"
#include "ui/ImageView.h"
#include "ui/KitStyle.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QVBoxLayout>

namespace {

QLabel* textLabel(const QString& text, double size, bool bold, const QColor& colour, QWidget* parent) {
    auto* label = KitStyle::label(text, size, bold, colour, parent);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    return label;
}

} // namespace

CopyMakeSureWC::CopyMakeSureWC(const QString& destinationName, const QStringList& leftOut, QWidget* parent)
    : QWidget(parent) {
    setFixedWidth(leftOut.isEmpty() ? 380 : 460);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(22, 20, 22, 18);
    column->setSpacing(10);

    auto* heading = new QHBoxLayout;
    auto* icon = new ImageView(QStringLiteral("ic_warning"), this);
    icon->setFixedSize(32, 32);
    heading->addWidget(icon, 0, Qt::AlignTop);
    heading->addWidget(textLabel(QStringLiteral("Start copying?"), 15, true, KitStyle::textPrimary(), this),
                       1);
    column->addLayout(heading);

    m_message = textLabel(
        QStringLiteral("The files will be copied into a new folder on \u201c%1\u201d.").arg(destinationName),
        12, false, KitStyle::textSecondary(), this);
    m_message->setObjectName(QStringLiteral("messageLabel"));
    column->addWidget(m_message);

    if (!leftOut.isEmpty()) {
        m_leftOutLabel =
            textLabel(QStringLiteral("The destination drive cannot store %1 of the selected items. "
                                     "They will be left out:")
                          .arg(leftOut.size()),
                      12, true, KitStyle::error(), this);
        m_leftOutLabel->setObjectName(QStringLiteral("leftOutLabel"));
        column->addWidget(m_leftOutLabel);
        m_leftOut = new QListWidget(this);
        m_leftOut->setObjectName(QStringLiteral("leftOutList"));
        m_leftOut->addItems(leftOut);
        m_leftOut->setSelectionMode(QAbstractItemView::NoSelection);
        m_leftOut->setFocusPolicy(Qt::StrongFocus);
        m_leftOut->setAccessibleName(tr("Items left out of the copy"));
        m_leftOut->setFont(KitStyle::font(12));
        m_leftOut->setWordWrap(true);
        m_leftOut->setSpacing(3);
        m_leftOut->setTextElideMode(Qt::ElideNone);
        m_leftOut->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        m_leftOut->setFixedHeight(qMin(160, 38 * int(leftOut.size()) + 8));
        m_leftOut->setStyleSheet(
            QStringLiteral("QListWidget { color: %1; background: %2; border: 1px solid %3;"
                           " border-radius: 5px; }")
                .arg(KitStyle::css(KitStyle::textPrimary()), KitStyle::css(KitStyle::fieldBackground()),
                     KitStyle::css(KitStyle::panelBorder())) +
            KitStyle::thinScrollBar());
        column->addWidget(m_leftOut);
    }

    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    m_no = new FlatButton(QStringLiteral("Cancel"), FlatButton::Kind::Secondary, this);
    m_ok = new FlatButton(QStringLiteral("Copy Now"), FlatButton::Kind::Primary, this);
    m_ok->setDefault(true);
    buttons->addWidget(m_no);
    buttons->addWidget(m_ok);
    column->addSpacing(4);
    column->addLayout(buttons);
    connect(m_ok, &QPushButton::clicked, this, &CopyMakeSureWC::okButtonAction);
    connect(m_no, &QPushButton::clicked, this, &CopyMakeSureWC::noButtonAction);
}

void CopyMakeSureWC::okButtonAction() {
    CopyMakeSureWCDelegate* delegate = m_delegate;
    closeWindow();
    if (delegate)
        delegate->beginToCopyFiles();
}

void CopyMakeSureWC::noButtonAction() {
    closeWindow();
}

void CopyMakeSureWC::closeWindow() {
    m_delegate = nullptr;
    // The attached window hosting the panel closes and deletes it later.
    if (QWidget* host = parentWidget())
        host->close();
    else
        close();
}
