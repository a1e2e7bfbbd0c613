#include "app/AboutWindow.h"

#include "core/QvPublicUtilities.h"
#include "ui/FlatButton.h"
#include "ui/ImageView.h"
#include "ui/KitStyle.h"

#include <QDate>
#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

namespace {

QLabel* makeLabel(const QString& text, double pointSize, bool bold, const QColor& color, QWidget* parent) {
    auto* label = KitStyle::label(text, pointSize, bold, color, parent);
    label->setAlignment(Qt::AlignHCenter);
    label->setWordWrap(true);
    return label;
}

} // namespace

AboutWindow::AboutWindow(QWidget* parent) : QDialog(parent) {
    setWindowTitle(tr("About Tavrill"));
    setFixedSize(400, 320);
    setAutoFillBackground(true);
    QPalette pal = palette();
    pal.setColor(QPalette::Window, KitStyle::panelBackground());
    setPalette(pal);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(24, 28, 24, 22);
    layout->setSpacing(6);

    auto* mark = new ImageView(QStringLiteral("ic_disk_main"), this);
    mark->setFixedSize(64, 64);
    layout->addWidget(mark, 0, Qt::AlignHCenter);
    layout->addSpacing(8);
    layout->addWidget(makeLabel(QStringLiteral("Tavrill"), 20, true, KitStyle::textPrimary(), this));

    const QString version = QvPublicUtilities::getInstallVersion();
    m_versionLabel = makeLabel(version.isEmpty() ? QString() : tr("Version %1").arg(version), 12, false,
                               KitStyle::textSecondary(), this);
    layout->addWidget(m_versionLabel);
    layout->addSpacing(10);
    layout->addWidget(
        makeLabel(tr("Copy, clone, image and manage drives."), 12, false, KitStyle::textPrimary(), this));
    layout->addWidget(
        makeLabel(tr("\u00A9 %1 Kelvaro. All rights reserved.").arg(QDate::currentDate().year()), 11, false,
                  KitStyle::textSecondary(), this));
    layout->addStretch(1);

    auto* ok = new FlatButton(tr("OK"), FlatButton::Kind::Primary, this);
    ok->setDefault(true);
    connect(ok, &QAbstractButton::clicked, this, &QDialog::accept);
    layout->addWidget(ok, 0, Qt::AlignHCenter);
}
