#include "diskmanager/MakeSureFormatViewController.h"

#include "core/MainThread.h"
#include "core/WorkerPool.h"
#include "diskmanager/DiskManagerTexts.h"
#include "diskmanager/FormatTypeViewController.h"
#include "diskmanager/MakeSureFormatDelegate.h"
#include "ui/AttachedWindow.h"
#include "ui/BackgroundView.h"
#include "ui/ElidedLabel.h"
#include "ui/FlatButton.h"
#include "ui/ImageView.h"
#include "ui/KitStyle.h"
#include "volumes/DriveLossView.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QThreadPool>
#include <QTimer>
#include <QVBoxLayout>

namespace {

// The type label's colours: grey when it can be changed, dimmed white when it cannot.
QColor typeColour(bool locked) {
    return locked ? KitStyle::textLocked() : KitStyle::heading();
}

QLabel* caption(const QString& text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setFont(KitStyle::font(12));
    label->setStyleSheet(QStringLiteral("color: %1;").arg(KitStyle::css(KitStyle::textSecondary())));
    return label;
}

// Closes the type menu on its own after this long.
constexpr int kMenuLifetimeMs = 3000;

} // namespace

MakeSureFormatViewController::MakeSureFormatViewController(QWidget* parent) : QWidget(parent) {
    setAttribute(Qt::WA_TranslucentBackground);
    setFixedWidth(380);

    formatView = new BackgroundView(QColor(), this);
    formatView->setObjectName(QStringLiteral("formatView"));
    makeSureView = new QWidget(formatView);
    makeSureView->setObjectName(QStringLiteral("makeSureView"));

    nameLabel = new QLabel(makeSureView);
    nameLabel->setObjectName(QStringLiteral("nameLabel"));
    nameLabel->setTextFormat(Qt::PlainText);
    nameLabel->setFont(KitStyle::font(15, true));
    nameLabel->setStyleSheet(QStringLiteral("color: %1;").arg(KitStyle::css(KitStyle::textPrimary())));
    nameLabel->setWordWrap(true);

    nodeLabel = new QLabel(makeSureView);
    nodeLabel->setObjectName(QStringLiteral("nodeLabel"));
    nodeLabel->setTextFormat(Qt::PlainText);
    nodeLabel->setFont(KitStyle::font(12));
    nodeLabel->setStyleSheet(QStringLiteral("color: %1;").arg(KitStyle::css(KitStyle::textSecondary())));
    nodeLabel->setWordWrap(true);

    problemLabel = new QLabel(makeSureView);
    problemLabel->setObjectName(QStringLiteral("problemLabel"));
    problemLabel->setTextFormat(Qt::PlainText);
    problemLabel->setFont(KitStyle::font(12));
    problemLabel->setStyleSheet(QStringLiteral("color: %1;").arg(KitStyle::css(KitStyle::error())));
    problemLabel->setWordWrap(true);
    problemLabel->hide();

    m_loss = new DriveLossView(makeSureView);
    m_nameHint = new ElidedLabel(makeSureView);
    m_nameHint->setObjectName(QStringLiteral("nameHint"));
    m_nameHint->setFont(KitStyle::font(12));

    nameTextFiled = new QLineEdit(makeSureView);
    nameTextFiled->setObjectName(QStringLiteral("nameTextFiled"));
    nameTextFiled->setFont(KitStyle::font(13));
    nameTextFiled->setReadOnly(true);
    nameTextFiled->setAccessibleName(tr("Name of the formatted volume"));
    nameTextFiled->setStyleSheet(
        QStringLiteral("QLineEdit { color: %1; background: %2; border: 1px solid %3; border-radius: 5px;"
                       " padding: 4px 8px; } QLineEdit:focus { border-color: %4; }")
            .arg(KitStyle::css(KitStyle::textPrimary()), KitStyle::css(KitStyle::fieldBackground()),
                 KitStyle::css(KitStyle::panelBorder()), KitStyle::css(KitStyle::accent())));

    typeSelectBut = new QPushButton(makeSureView);
    typeSelectBut->setObjectName(QStringLiteral("typeSelectBut"));
    typeSelectBut->setCursor(Qt::PointingHandCursor);
    typeSelectBut->setAccessibleName(tr("Choose the file system"));
    typeSelectBut->setFixedHeight(30);
    typeSelectBut->setStyleSheet(
        QStringLiteral("QPushButton { background: %1; border: 1px solid %2; border-radius: 5px; }")
            .arg(KitStyle::css(KitStyle::fieldBackground()), KitStyle::css(KitStyle::panelBorder())));
    typeLabel = new QLabel(typeSelectBut);
    typeLabel->setObjectName(QStringLiteral("typeLabel"));
    typeLabel->setTextFormat(Qt::PlainText);
    typeLabel->setFont(KitStyle::font(13));
    typeLabel->setAttribute(Qt::WA_TransparentForMouseEvents);
    openImageV = new ImageView(QStringLiteral("ic_arrow_down"), typeSelectBut);
    openImageV->setObjectName(QStringLiteral("openImageV"));
    openImageV->setFixedSize(12, 12);
    openImageV->setTint(KitStyle::textSecondary());
    openImageV->setAttribute(Qt::WA_TransparentForMouseEvents);
    auto* typeRow = new QHBoxLayout(typeSelectBut);
    typeRow->setContentsMargins(9, 0, 9, 0);
    typeRow->addWidget(typeLabel, 1);
    typeRow->addWidget(openImageV);

    loading = new QProgressBar(makeSureView);
    loading->setObjectName(QStringLiteral("loading"));
    loading->setRange(0, 0);
    loading->setTextVisible(false);
    loading->setFixedHeight(4);
    loading->hide();

    noButton = new FlatButton(DiskManagerTexts::cancelButton(), FlatButton::Kind::Secondary, makeSureView);
    noButton->setObjectName(QStringLiteral("noButton"));
    okButton = new FlatButton(DiskManagerTexts::continueButton(), FlatButton::Kind::Primary, makeSureView);
    okButton->setObjectName(QStringLiteral("okButton"));
    // Formatting destroys data: only a click or Space on the focused button does it.
    for (FlatButton* button : {okButton, noButton}) {
        button->setAutoDefault(false);
        button->setDefault(false);
    }

    auto* fields = new QGridLayout;
    fields->setHorizontalSpacing(12);
    fields->setVerticalSpacing(10);
    fields->addWidget(caption(DiskManagerTexts::nameCaption(), makeSureView), 0, 0);
    fields->addWidget(nameTextFiled, 0, 1);
    fields->addWidget(caption(DiskManagerTexts::typeCaption(), makeSureView), 1, 0);
    fields->addWidget(typeSelectBut, 1, 1);
    fields->setColumnStretch(1, 1);

    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(10);
    buttons->addStretch(1);
    buttons->addWidget(noButton);
    buttons->addWidget(okButton);

    auto* body = new QVBoxLayout(makeSureView);
    body->setContentsMargins(22, 20, 22, 18);
    body->setSpacing(10);
    body->addWidget(nameLabel);
    body->addWidget(nodeLabel);
    body->addWidget(m_loss);
    body->addSpacing(6);
    body->addLayout(fields);
    body->addWidget(m_nameHint);
    body->addWidget(problemLabel);
    body->addWidget(loading);
    body->addSpacing(8);
    body->addLayout(buttons);

    auto* frame = new QVBoxLayout(formatView);
    frame->setContentsMargins(0, 0, 0, 0);
    frame->addWidget(makeSureView);
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->addWidget(formatView);

    connect(okButton, &QAbstractButton::clicked, this, &MakeSureFormatViewController::okButtonAction);
    connect(noButton, &QAbstractButton::clicked, this, &MakeSureFormatViewController::noButtonAction);
    connect(typeSelectBut, &QAbstractButton::clicked, this, &MakeSureFormatViewController::openMenuAction);
    connect(nameTextFiled, &QLineEdit::textChanged, this, &MakeSureFormatViewController::updateNameHint);
}

void MakeSureFormatViewController::setLoss(const QString& device, const DriveIdentity& drive,
                                           const QList<DriveVolume>& destroyed) {
    m_loss->setLoss(device, drive, destroyed);
    adjustSize();
}

void MakeSureFormatViewController::updateNameHint() {
    bool refused = false;
    const QString hint = m_delegate
                             ? m_delegate->formatNameHint(nameTextFiled->text(), typeLabel->text(), &refused)
                             : QString();
    m_nameHint->setFullText(hint);
    m_nameHint->setStyleSheet(
        QStringLiteral("color: %1;").arg(KitStyle::css(refused ? KitStyle::error() : KitStyle::accent())));
}

MakeSureFormatViewController::~MakeSureFormatViewController() {
    // The menu lives beside this view in the window; it goes with the confirmation.
    if (m_menuWindow)
        m_menuWindow->deleteLater();
}

void MakeSureFormatViewController::setName(const QString& name, const QString& type) {
    nameLabel->setText(DiskManagerTexts::formatTitle(name));
    nodeLabel->setText(DiskManagerTexts::formatBody(name));
    nameTextFiled->setText(name);
    nameTextFiled->setReadOnly(true);
    typeLabel->setText(type);
    const QString lower = type.toLower();
    m_typeLocked = lower.contains(QLatin1String("apfs")) || lower.contains(QLatin1String("ntfs"));
    typeLabel->setStyleSheet(QStringLiteral("color: %1;").arg(KitStyle::css(typeColour(m_typeLocked))));
    openImageV->setVisible(!m_typeLocked);
    typeSelectBut->setEnabled(!m_typeLocked);
    updateNameHint();
    // The field opens for typing from another thread's turn on the main queue, i.e. only after
    // the popup is up.
    QPointer<QLineEdit> field(nameTextFiled);
    workerPool()->start([field] {
        onMain([field] {
            if (!field)
                return;
            field->setReadOnly(false);
            field->setFocus();
            field->selectAll();
        });
    });
    adjustSize();
}

void MakeSureFormatViewController::okButtonAction() {
    if (m_delegate) {
        const QString problem = m_delegate->formatNameProblem(nameTextFiled->text(), typeLabel->text());
        problemLabel->setText(problem);
        problemLabel->setVisible(!problem.isEmpty());
        if (!problem.isEmpty())
            return;
        m_delegate->makeSureToFormatSelectVolumeWithName(nameTextFiled->text(), typeLabel->text());
    }
    closeWindow();
}

void MakeSureFormatViewController::noButtonAction() {
    if (m_delegate)
        m_delegate->cancelFormatVoluem();
    closeWindow();
}

void MakeSureFormatViewController::openMenuAction() {
    if (m_menuWindow || m_typeLocked)
        return;
    auto* menu = new FormatTypeViewController;
    menu->setDelegate(this);
    QWidget* host = window();
    const QPoint below =
        typeSelectBut->mapTo(host, QPoint(typeSelectBut->width() / 2, typeSelectBut->height()));
    auto* attached = new AttachedWindow(menu, below, host, 2);
    menu->setSuperDelegate(attached);
    m_menu = menu;
    m_menuWindow = attached;
    QTimer::singleShot(kMenuLifetimeMs, attached, [attached] { attached->close(); });
}

void MakeSureFormatViewController::selectFormatbyType(int tag) {
    const QString type = DiskManagerTexts::formatType(tag);
    if (!type.isEmpty())
        typeLabel->setText(type);
    updateNameHint();
    closeMenu();
}

void MakeSureFormatViewController::closeMenu() {
    if (m_menuWindow)
        m_menuWindow->close();
}

void MakeSureFormatViewController::closeWindow() {
    closeMenu();
    if (m_superDelegate)
        m_superDelegate->close();
}
