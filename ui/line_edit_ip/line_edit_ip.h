#pragma once

#include <QLineEdit>
#include <QString>

#include <array>
#include <cstddef>

// TLineEditIP is an editor for one dotted IPv4 address: four octet editors side by side in a read-only line
// edit that paints the three dots between them. Its event filter holds the keyboard rules that carry the
// caret from octet to octet.
//
// Invariants
//  (1) The outer line edit's own text stays empty; text(), setText() and clear() speak of the four octets.
//  (2) The filter only moves the focus: the key still reaches the editor that it was typed into. Return alone
//      is consumed.
//  (3) The address is kept as typed, leading zeros included.
// Threading: GUI thread only.
// Ownership: the octet editors and their validators are children of the widget.
class TLineEditIP : public QLineEdit
{
    Q_OBJECT

public:
    explicit TLineEditIP(QWidget* parent = nullptr);
    ~TLineEditIP() override;

    // The assembled address; empty while any octet is empty.
    QString text() const;
    // Spreads a valid address over the octets and selects the first; an invalid one brings up a warning box
    // and changes nothing.
    void setText(const QString& s);
    void clear();
    // The whole text is one dotted IPv4 address. Looser on leading zeros than typing is: 001 passes here.
    bool isTextValid(const QString& s) const;
    // 0..3 from the left, -1 when pEdit is none of the four.
    int partIndex(QLineEdit* pEdit) const;

signals:
    // A key that the filter leaves alone was pressed in pEdit.
    void signalTextChanged(QLineEdit* pEdit);

private slots:
    void slotTextChanged(QLineEdit*);

protected:
    bool eventFilter(QObject* obj, QEvent* ev) override;
    void paintEvent(QPaintEvent* e) override;

private:
    QLineEdit* octet(int index) const { return m_octets[static_cast<std::size_t>(index)]; }
    void handleOrdinaryKey(int index, int key);
    void handleDigit(int index, int key);
    void handleBackspace(int index);
    // True when the key is consumed.
    bool handleNavigationKey(int index, int key);
    void enterAtStart(int index);
    void enterAtEnd(int index);

    std::array<QLineEdit*, 4> m_octets{}; // left to right; constant after construction
};
