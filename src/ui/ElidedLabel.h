#pragma once

#include <QLabel>
#include <QString>

// A one-line label for names that may be longer than the room they get: it keeps the whole
// text, shows as much as fits with "…" in the middle (both ends of a name tell drives apart),
// and offers the whole text as its tool tip whenever it is shortened. Re-elides on resize.
class ElidedLabel : public QLabel {
    Q_OBJECT
public:
    explicit ElidedLabel(QWidget* parent = nullptr);

    void setFullText(const QString& text);
    const QString& fullText() const { return m_fullText; }
    // Whether the whole text is the tool tip even when it fits (a name's label, say).
    void setWholeTextTip(bool always);
    // Whether the label shows less than its whole text.
    bool isElided() const { return text() != m_fullText; }

    QSize minimumSizeHint() const override;

protected:
    void resizeEvent(QResizeEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void elide();

    QString m_fullText;
    bool m_wholeTextTip = false;
};
