#include "diskmanager/DiskManagerCell.h"

#include "diskmanager/DiskManagerEngine.h"
#include "diskmanager/DiskManagerTexts.h"
#include "ui/ElidedLabel.h"
#include "ui/ImageButton.h"
#include "ui/ImageView.h"
#include "ui/KitStyle.h"
#include "volumes/VolumeIcon.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPainter>
#include <QVBoxLayout>

namespace {

ImageButton* toolButton(const QString& id, const QString& title, QWidget* parent) {
    auto* button = new ImageButton(QStringLiteral("btn_tool"), parent);
    button->setImages(QStringLiteral("btn_tool"), QStringLiteral("btn_tool_hover"),
                      QStringLiteral("btn_tool_press"));
    button->setStretch(true);
    button->setObjectName(id);
    button->setText(title);
    button->setTextPointSize(12);
    button->setFixedSize(68, 28);
    button->setFocusPolicy(Qt::TabFocus);
    return button;
}

bool isBlank(const QString& text) {
    return text.isEmpty() || text == QLatin1String(" ");
}

} // namespace

DiskManagerCell::DiskManagerCell(QWidget* parent) : PressableView(parent) {
    m_icon = new ImageView(QString(), this);
    m_icon->setObjectName(QStringLiteral("icon"));
    m_icon->setFixedSize(40, 40);

    m_name = new ElidedLabel(this);
    m_name->setObjectName(QStringLiteral("name"));
    m_name->setFont(KitStyle::font(14, true));
    m_name->setStyleSheet(QStringLiteral("color: %1;").arg(KitStyle::css(KitStyle::textPrimary())));

    m_editName = new QLineEdit(this);
    m_editName->setObjectName(QStringLiteral("editname"));
    m_editName->setFont(KitStyle::font(13));
    m_editName->setFixedWidth(220);
    m_editName->setStyleSheet(QStringLiteral("QLineEdit { color: %1; background: %2; border: 1px solid %3;"
                                             " border-radius: 4px; padding: 2px 6px; }")
                                  .arg(KitStyle::css(KitStyle::textPrimary()),
                                       KitStyle::css(KitStyle::fieldBackground()),
                                       KitStyle::css(KitStyle::accent())));
    m_editName->hide();

    m_problem = new ElidedLabel(this);
    m_problem->setObjectName(QStringLiteral("nameProblem"));
    m_problem->setFont(KitStyle::font(12));
    m_problem->hide();

    m_drive = new ElidedLabel(this);
    m_drive->setObjectName(QStringLiteral("drive"));
    m_drive->setFont(KitStyle::font(11));
    m_drive->setStyleSheet(QStringLiteral("color: %1;").arg(KitStyle::css(KitStyle::heading())));

    m_type = new QLabel(this);
    m_type->setObjectName(QStringLiteral("type"));
    m_type->setTextFormat(Qt::PlainText);
    m_size = new QLabel(this);
    m_size->setObjectName(QStringLiteral("size"));
    m_size->setTextFormat(Qt::PlainText);
    for (QLabel* label : {m_type, m_size}) {
        label->setFont(KitStyle::font(12));
        label->setStyleSheet(QStringLiteral("color: %1;").arg(KitStyle::css(KitStyle::textSecondary())));
    }

    m_save = toolButton(QStringLiteral("save"), DiskManagerTexts::save(), this);
    m_rename = toolButton(QStringLiteral("rename"), DiskManagerTexts::rename(), this);
    m_format = toolButton(QStringLiteral("format"), DiskManagerTexts::format(), this);
    m_eject = toolButton(QStringLiteral("eject"), DiskManagerTexts::eject(), this);

    auto* details = new QHBoxLayout;
    details->setSpacing(10);
    details->addWidget(m_type);
    details->addWidget(m_size);
    details->addStretch(1);

    auto* text = new QVBoxLayout;
    text->setSpacing(3);
    text->addStretch(1);
    text->addWidget(m_name);
    text->addWidget(m_editName);
    text->addWidget(m_problem);
    text->addLayout(details);
    text->addWidget(m_drive);
    text->addStretch(1);

    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(16, 8, 14, 8);
    row->setSpacing(8);
    row->addWidget(m_icon, 0, Qt::AlignVCenter);
    row->addSpacing(4);
    row->addLayout(text, 1);
    for (ImageButton* b : {m_save, m_rename, m_format, m_eject})
        row->addWidget(b, 0, Qt::AlignVCenter);

    connect(m_editName, &QLineEdit::textEdited, this, &DiskManagerCell::textEdited);
    connect(m_editName, &QLineEdit::returnPressed, this, &DiskManagerCell::returnPressed);
    // A click comes after its press (a screen reader's a moment later), and a listing in between
    // may have put another volume on the row: the click counts only if the row still shows the
    // volume it showed when the button went down.
    const auto forward = [this](ImageButton* button, void (DiskManagerCell::*clicked)()) {
        connect(button, &QAbstractButton::pressed, this, [this, button] { m_pressedOn[button] = m_shown; });
        connect(button, &QAbstractButton::clicked, this, [this, button, clicked] {
            if (m_pressedOn.take(button) == m_shown)
                Q_EMIT(this->*clicked)();
        });
    };
    forward(m_save, &DiskManagerCell::saveClicked);
    forward(m_rename, &DiskManagerCell::renameClicked);
    forward(m_format, &DiskManagerCell::formatClicked);
    forward(m_eject, &DiskManagerCell::ejectClicked);
}

QString DiskManagerCell::sizeText(const VolumeObj& volume) {
    if (isBlank(volume.volumeTotalSize()))
        return DiskManagerTexts::unknownSize();
    const QString used =
        DiskManagerEngine::byteToSizeWithByte(volume.volumeTotalSizeNum() - volume.volumeFreeSizeNum());
    return QStringLiteral("%1/%2").arg(used, volume.volumeTotalSize());
}

void DiskManagerCell::configure(const VolumeObj& volume, bool selected, bool renaming) {
    m_selected = selected;
    m_shown = volume.volumePath() + QLatin1Char('\n') + volume.diskUUID();
    const bool editing = selected && renaming;
    m_icon->setImageName(volumeIconName(volume, selected));
    m_name->setFullText(volume.volumeName());
    m_name->setVisible(!editing);
    if (editing && m_editName->isHidden()) {
        m_editName->setText(volume.volumeName());
        m_editName->show();
        m_editName->setFocus();
        m_editName->selectAll();
    } else if (!editing) {
        m_editName->hide();
        setNameProblem(QString());
    }
    m_type->setText(volume.diskType());
    m_type->setToolTip(volume.diskType());
    m_size->setText(sizeText(volume));
    m_drive->setFullText(volume.drive().isKnown() ? volume.drive().summary() : QString());
    m_drive->setVisible(volume.drive().isKnown());
    m_save->setVisible(editing);
    m_rename->setVisible(!renaming);
    m_format->setVisible(!renaming && volume.volumeMountPoint() != QLatin1String("/"));
    m_eject->setVisible(!renaming && volume.bCanEject());
    // What a screen reader says of the row and its buttons names the volume they act on.
    const QString name = volume.volumeName();
    setAccessibleName(tr("Choose the volume %1").arg(name));
    m_editName->setAccessibleName(tr("New name for %1").arg(name));
    m_save->setAccessibleName(tr("Save the new name of %1").arg(name));
    m_rename->setAccessibleName(tr("Rename %1").arg(name));
    m_format->setAccessibleName(tr("Format %1").arg(name));
    m_eject->setAccessibleName(tr("Eject %1").arg(name));
    update();
}

void DiskManagerCell::setNameProblem(const QString& problem) {
    setNameHint(problem, true);
}

void DiskManagerCell::setNameHint(const QString& text, bool refused) {
    m_problem->setFullText(text);
    m_problem->setStyleSheet(
        QStringLiteral("color: %1;").arg(KitStyle::css(refused ? KitStyle::error() : KitStyle::accent())));
    m_problem->setVisible(!text.isEmpty());
    m_type->setVisible(text.isEmpty());
    m_size->setVisible(text.isEmpty());
    m_editName->setToolTip(text);
}

void DiskManagerCell::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton)
        Q_EMIT pressed();
    QWidget::mousePressEvent(event);
}

void DiskManagerCell::press() {
    Q_EMIT pressed();
}

void DiskManagerCell::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF r = QRectF(rect()).adjusted(6, 3, -6, -3);
    if (m_selected) {
        painter.setPen(QPen(KitStyle::accent(), 1));
        painter.setBrush(KitStyle::rowHover());
        painter.drawRoundedRect(r, 8, 8);
    } else {
        painter.setPen(Qt::NoPen);
        painter.setBrush(KitStyle::panelBackground());
        painter.drawRoundedRect(r, 8, 8);
    }
    painter.end();
    paintFocus();
}
