#include "ui/ErrorWindowController.h"

#include "ui/AttachedWindow.h"
#include "ui/FlatButton.h"
#include "ui/ImageView.h"
#include "ui/KitStyle.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

ErrorWindowController::ErrorWindowController(QWidget* parent)
    : QWidget(parent), m_icon(new ImageView(QStringLiteral("ic_warning"), this)), m_label(new QLabel(this)),
      m_done(new FlatButton(QStringLiteral("Done"), FlatButton::Kind::Primary, this)) {
    setObjectName(QStringLiteral("ErrorWindowController"));
    setFixedWidth(kWidth);

    m_icon->setFixedSize(40, 40);
    m_label->setObjectName(QStringLiteral("errorLabel"));
    m_label->setWordWrap(true);
    m_label->setAlignment(Qt::AlignHCenter | Qt::AlignTop);
    m_label->setTextFormat(Qt::PlainText);
    m_label->setFont(KitStyle::font(13));
    m_label->setStyleSheet(
        QStringLiteral("color: %1; background: transparent;").arg(KitStyle::css(KitStyle::textPrimary())));
    m_label->setMinimumHeight(36);
    m_done->setObjectName(QStringLiteral("doneButton"));
    m_done->setDefault(true);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(24, 22, 24, 18);
    layout->setSpacing(12);
    layout->addWidget(m_icon, 0, Qt::AlignHCenter);
    layout->addWidget(m_label);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(m_done);
    buttons->addStretch();
    layout->addSpacing(4);
    layout->addLayout(buttons);

    connect(m_done, &QAbstractButton::clicked, this, &ErrorWindowController::closeWindow);
}

ErrorWindowController* ErrorWindowController::showErrorOn(QWidget* mainWindow, const QString& text) {
    auto* popup = new ErrorWindowController;
    popup->changeErrorLabelStr(text);
    popup->attachTo(mainWindow);
    return popup;
}

AttachedWindow* ErrorWindowController::attachTo(QWidget* mainWindow) {
    if (m_host)
        return m_host;
    m_host = new AttachedWindow(this, AttachedWindow::middleTop(mainWindow), mainWindow, kDistance);
    connect(m_host, &AttachedWindow::closed, this, &ErrorWindowController::closed);
    m_done->setFocus();
    return m_host;
}

void ErrorWindowController::changeErrorLabelStr(const QString& text) {
    m_label->setText(text);
    // Let a longer message grow the popup downwards instead of being cut.
    m_label->setMinimumHeight(qMax(36, m_label->heightForWidth(kWidth - 48)));
    adjustSize();
}

QString ErrorWindowController::errorText() const {
    return m_label->text();
}

void ErrorWindowController::closeWindow() {
    if (m_host)
        m_host->close();
    else
        close();
}
