#include "ui/line_edit_ip/line_edit_ip.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QMessageBox>
#include <QPainter>
#include <QRegExp>
#include <QRegExpValidator>
#include <QStringList>

namespace {

constexpr int kLastOctet = 3;

bool isDigit(int key)
{
    return key >= Qt::Key_0 && key <= Qt::Key_9;
}

} // namespace

TLineEditIP::TLineEditIP(QWidget* parent) : QLineEdit(parent)
{
    auto* layout = new QHBoxLayout(this);
    layout->setSpacing(4);
    layout->setContentsMargins(4, 4, 2, 4);

    // Every octet is known before the first filter is installed: the filter looks them up.
    for (QLineEdit*& octet : m_octets) {
        octet = new QLineEdit(this);
    }
    // kept on purpose: 00 and 07 may be typed, 001 may not.
    const QRegExp octetPattern(QStringLiteral("(2[0-5]{2}|2[0-4][0-9]|1?[0-9]{1,2})"));
    for (QLineEdit* octet : m_octets) {
        octet->setAccessibleName(QStringLiteral("IP 地址第 %1 段").arg(partIndex(octet) + 1));
        octet->setAccessibleDescription(QStringLiteral("0 到 255"));
        octet->setFrame(false);
        octet->setMaxLength(3);
        octet->setTextMargins(0, 0, 0, 0);
        octet->setAlignment(Qt::AlignCenter);
        octet->installEventFilter(this);
        octet->setValidator(new QRegExpValidator(octetPattern, this));
        octet->setSizePolicy(
            QSizePolicy(QSizePolicy::Preferred, QSizePolicy::Preferred, QSizePolicy::DefaultType));
        octet->setStyleSheet(QStringLiteral("QLineEdit{border:none;}"));
        octet->setAttribute(Qt::WA_MacShowFocusRect, false);
        octet->setContextMenuPolicy(Qt::NoContextMenu);
        layout->addWidget(octet);
    }
    setReadOnly(true);
    setContextMenuPolicy(Qt::NoContextMenu);
    installEventFilter(this); // to see its own focus-in
    // Queued: the check runs when the octet editor has dealt with the key.
    connect(this, &TLineEditIP::signalTextChanged, this, &TLineEditIP::slotTextChanged, Qt::QueuedConnection);
}

TLineEditIP::~TLineEditIP() = default;

int TLineEditIP::partIndex(QLineEdit* pEdit) const
{
    for (int i = 0; i <= kLastOctet; ++i) {
        if (octet(i) == pEdit) {
            return i;
        }
    }
    return -1;
}

QString TLineEditIP::text() const
{
    for (const QLineEdit* octet : m_octets) {
        if (octet->text().isEmpty()) {
            return QString();
        }
    }
    return QStringLiteral("%1.%2.%3.%4")
        .arg(m_octets[0]->text(), m_octets[1]->text(), m_octets[2]->text(), m_octets[3]->text());
}

bool TLineEditIP::isTextValid(const QString& s) const
{
    const QRegExp address(QStringLiteral("\\b(?:(?:25[0-5]|2[0-4][0-9]|[01]?[0-9][0-9]?)\\.){3}"
                                         "(?:25[0-5]|2[0-4][0-9]|[01]?[0-9][0-9]?)\\b"));
    return address.exactMatch(s);
}

void TLineEditIP::setText(const QString& s)
{
    if (!isTextValid(s)) {
        QMessageBox::warning(this, QStringLiteral("Attention"), QStringLiteral("Your IP Address is Invalid!"),
                             QMessageBox::Ok, QMessageBox::NoButton);
        return;
    }
    const QStringList pieces = s.split(QLatin1Char('.'), Qt::KeepEmptyParts, Qt::CaseSensitive);
    for (int i = 0; i <= kLastOctet; ++i) {
        octet(i)->setText(pieces.at(i));
    }
    octet(0)->selectAll();
}

void TLineEditIP::clear()
{
    for (QLineEdit* octet : m_octets) {
        octet->clear();
    }
}

bool TLineEditIP::eventFilter(QObject* obj, QEvent* ev)
{
    const bool unhandled = QObject::eventFilter(obj, ev);
    if (ev->type() == QEvent::FocusIn && obj == this) {
        enterAtEnd(0);
        octet(0)->selectAll();
        return unhandled;
    }
    if (ev->type() != QEvent::KeyPress) {
        return unhandled;
    }
    const auto* keyEvent = dynamic_cast<QKeyEvent*>(ev);
    auto* edit = qobject_cast<QLineEdit*>(obj);
    const int index = edit != nullptr ? partIndex(edit) : -1;
    if (keyEvent == nullptr || index < 0) {
        return unhandled;
    }
    const int key = keyEvent->key();
    if (key == Qt::Key_Backspace) {
        handleBackspace(index);
        return QObject::eventFilter(obj, ev);
    }
    if (key < Qt::Key_Backspace) {
        handleOrdinaryKey(index, key);
        return unhandled;
    }
    return handleNavigationKey(index, key) || unhandled;
}

void TLineEditIP::handleOrdinaryKey(int index, int key)
{
    if (key == Qt::Key_Period) {
        if (index < kLastOctet && !octet(index)->text().isEmpty()) {
            enterAtStart(index + 1);
        }
    } else if (isDigit(key)) {
        handleDigit(index, key);
    } else {
        emit signalTextChanged(octet(index));
    }
}

void TLineEditIP::handleDigit(int index, int key)
{
    QLineEdit* edit = octet(index);
    if (edit->hasSelectedText()) {
        return;
    }
    QString digits = edit->text();
    const int length = digits.length();
    const int value = digits.toInt();
    const bool full = length == 3 || (length < 3 && value * 10 >= 256);
    const bool completes = length == 2 && value <= 25;
    if (completes && key == Qt::Key_0 && value != 0) {
        // The key itself then meets a full editor, so the digit is entered once.
        edit->setText(digits.insert(edit->cursorPosition(), QLatin1Char('0')));
    }
    if ((full || completes) && index < kLastOctet) {
        enterAtStart(index + 1);
    }
}

void TLineEditIP::handleBackspace(int index)
{
    const QLineEdit* edit = octet(index);
    if (index >= 1 && (edit->text().isEmpty() || edit->cursorPosition() == 0)) {
        enterAtEnd(index - 1);
    }
}

bool TLineEditIP::handleNavigationKey(int index, int key)
{
    const QLineEdit* edit = octet(index);
    const int previous = index == 0 ? kLastOctet : index - 1;
    const int next = index == kLastOctet ? 0 : index + 1;
    switch (key) {
    case Qt::Key_Left:
        if (edit->cursorPosition() == 0) {
            enterAtEnd(previous);
            octet(previous)->selectAll();
        }
        return false;
    case Qt::Key_Right:
        if (edit->cursorPosition() == edit->text().length()) {
            enterAtStart(next);
        }
        return false;
    case Qt::Key_Return:
        enterAtStart(next);
        octet(next)->selectAll();
        return true;
    default:
        emit signalTextChanged(octet(index));
        return false;
    }
}

void TLineEditIP::enterAtStart(int index)
{
    octet(index)->setFocus(Qt::OtherFocusReason);
    octet(index)->setCursorPosition(0);
}

void TLineEditIP::enterAtEnd(int index)
{
    octet(index)->setFocus(Qt::OtherFocusReason);
    octet(index)->setCursorPosition(octet(index)->text().length());
}

void TLineEditIP::slotTextChanged(QLineEdit* pEdit)
{
    const int index = partIndex(pEdit);
    if (index < 0) {
        return;
    }
    // kept on purpose: the line feed makes the reference four characters long, so no octet ever reaches it.
    // The digit rule has moved the focus already; a second move would skip an octet.
    const QString reference = QStringLiteral("%1\n").arg(255, 0, 10, QLatin1Char(' '));
    const int length = pEdit->text().length();
    if (length == reference.length() && pEdit->cursorPosition() == length && index != kLastOctet) {
        octet(index + 1)->setFocus(Qt::OtherFocusReason);
        octet(index + 1)->selectAll();
    }
}

void TLineEditIP::paintEvent(QPaintEvent* e)
{
    QLineEdit::paintEvent(e);
    QPainter painter(this);
    painter.setBrush(QBrush(Qt::black, Qt::SolidPattern));
    const int y = height() / 2 - 1;
    int x = 0;
    for (int i = 0; i < kLastOctet; ++i) {
        // kept on purpose: each dot falls one pixel further into its gap than the one before.
        x += (i == 0 ? 4 : 5) + octet(i)->width();
        painter.drawEllipse(QRect(x, y, 1, 1));
    }
}
