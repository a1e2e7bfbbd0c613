#include "UiTestKit.h"

#include <QCoreApplication>
#include <QImage>
#include <QTest>
#include <QWidget>

#include "ui/KitStyle.h"

namespace UiTestKit {

QStringList artworkNames() {
    QStringList names = {
        // banner, tab bar and its icons in both looks
        "top", "tab_on", "ic_disk_icon", "ic_os_main", "ic_dmg", "ic_tool", "ic_disk_icon_sel",
        "ic_os_main_sel", "ic_dmg_sel", "ic_tool_sel",
        // drive rows
        "ic_disk", "ic_usb", "ic_os", "ic_disk_sel", "ic_usb_sel", "ic_os_sel",
        // slot pictures
        "ic_usb_main", "ic_os_main_b", "ic_disk_main", "ic_folder", "add",
        // file list checkboxes
        "checkbox_sel", "checkbox_unsel", "checkbox_halfsel",
        // step pictures and clone stages
        "step1", "step2", "step3", "oc_step1", "oc_step2", "oc_step3", "oc_step4", "erase", "copy",
        // buttons
        "btn_tool", "btn_tool_hover", "btn_tool_press", "btn_close", "btn_close_hover", "btn_close_press",
        "btn_menu", "btn_menu_hover", "btn_remove", "btn_remove_hover", "btn_remove_press", "btn_help",
        // marks
        "ic_warning", "ic_arrow_down"};
    return names;
}

int opaquePixels(const QImage& image) {
    const QImage argb = image.convertToFormat(QImage::Format_ARGB32);
    int count = 0;
    for (int y = 0; y < argb.height(); ++y) {
        const QRgb* line = reinterpret_cast<const QRgb*>(argb.constScanLine(y));
        for (int x = 0; x < argb.width(); ++x)
            count += qAlpha(line[x]) > 0 ? 1 : 0;
    }
    return count;
}

void paintAsWindow(QWidget* widget) {
    QPalette p = widget->palette();
    p.setColor(QPalette::Window, KitStyle::windowBackground());
    p.setColor(QPalette::WindowText, KitStyle::textPrimary());
    widget->setPalette(p);
    widget->setAutoFillBackground(true);
}

bool showSized(QWidget* widget, QSize size) {
    widget->resize(size);
    widget->show();
    return QTest::qWaitForWindowExposed(widget);
}

void flushEvents() {
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

} // namespace UiTestKit
