#include "ui/Accessibility.h"

#include "ui/PressableView.h"
#include "ui/StripedProgressBar.h"

#include <QAccessibleWidget>
#include <QPointer>
#include <QTableWidget>
#include <QTimer>

namespace {

class PressableAccessible : public QAccessibleWidget {
public:
    explicit PressableAccessible(PressableView* view) : QAccessibleWidget(view, QAccessible::Button) {}

    QAccessible::State state() const override {
        QAccessible::State s = QAccessibleWidget::state();
        s.focusable = true;
        s.selectable = true;
        s.selected = view()->isChosen();
        return s;
    }
    QStringList actionNames() const override { return {pressAction()}; }
    void doAction(const QString& name) override {
        if (name != pressAction() || !widget()->isEnabled())
            return;
        // As a click: after the reader's request has returned.
        QTimer::singleShot(0, view(), [v = QPointer<PressableView>(view())] {
            if (v && v->isEnabled() && v->isVisible())
                v->press();
        });
    }
    QStringList keyBindingsForAction(const QString& name) const override {
        return name == pressAction() ? QStringList{QStringLiteral("Space")} : QStringList();
    }

private:
    PressableView* view() const { return static_cast<PressableView*>(widget()); }
};

class ProgressAccessible : public QAccessibleWidget, public QAccessibleValueInterface {
public:
    explicit ProgressAccessible(StripedProgressBar* bar) : QAccessibleWidget(bar, QAccessible::ProgressBar) {}

    void* interface_cast(QAccessible::InterfaceType type) override {
        if (type == QAccessible::ValueInterface)
            return static_cast<QAccessibleValueInterface*>(this);
        return QAccessibleWidget::interface_cast(type);
    }
    QString text(QAccessible::Text t) const override {
        if (t == QAccessible::Value)
            return QStringLiteral("%1 %").arg(qRound(bar()->doubleValue() * 100));
        return QAccessibleWidget::text(t);
    }
    QVariant currentValue() const override { return qRound(bar()->doubleValue() * 100); }
    void setCurrentValue(const QVariant&) override {}
    QVariant maximumValue() const override { return 100; }
    QVariant minimumValue() const override { return 0; }
    QVariant minimumStepSize() const override { return 1; }

private:
    StripedProgressBar* bar() const { return static_cast<StripedProgressBar*>(widget()); }
};

// A table whose rows are widgets of their own (a cell widget each): a screen reader walks the
// rows' widgets, which its cells would not show.
class WidgetRowsAccessible : public QAccessibleWidget {
public:
    explicit WidgetRowsAccessible(QTableWidget* table) : QAccessibleWidget(table, QAccessible::List) {}

    int childCount() const override { return int(rows().size()); }
    QAccessibleInterface* child(int index) const override {
        const QList<QWidget*> r = rows();
        return index >= 0 && index < r.size() ? QAccessible::queryAccessibleInterface(r.at(index)) : nullptr;
    }
    int indexOfChild(const QAccessibleInterface* child) const override {
        return child ? int(rows().indexOf(qobject_cast<QWidget*>(child->object()))) : -1;
    }

private:
    QList<QWidget*> rows() const {
        auto* table = static_cast<QTableWidget*>(widget());
        QList<QWidget*> out;
        for (int row = 0; row < table->rowCount(); ++row)
            if (QWidget* w = table->cellWidget(row, 0))
                out << w;
        return out;
    }
};

QAccessibleInterface* kitInterface(const QString& key, QObject* object) {
    if (key == QLatin1String("WidgetRowsTable"))
        if (auto* table = qobject_cast<WidgetRowsTable*>(object))
            return new WidgetRowsAccessible(table);
    if (key == QLatin1String("PressableView"))
        if (auto* view = qobject_cast<PressableView*>(object))
            return new PressableAccessible(view);
    if (key == QLatin1String("StripedProgressBar"))
        if (auto* bar = qobject_cast<StripedProgressBar*>(object))
            return new ProgressAccessible(bar);
    return nullptr;
}

} // namespace

void Accessibility::install() {
    static bool installed = false;
    if (installed)
        return;
    installed = true;
    QAccessible::installFactory(kitInterface);
}
