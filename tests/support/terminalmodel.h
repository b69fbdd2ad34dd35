// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringDecoder>
#include <QStringList>

/// A terminal's screen with everything that scrolled out of it. Knows carriage return, newline, cursor up, erase line,
/// erase below, automatic wrapping on and off, and colours; whatever else comes is kept in unknownCodes().
///
/// Widths of characters come from the C library, in a UTF-8 locale.
class TerminalModel
{
public:
    /// What terminals do with lines that stand when the width changes.
    enum class OnResize { WrapAnew, CutOff };

    TerminalModel(int columns, int rows, OnResize onResize = OnResize::WrapAnew);

    /// Bytes as they come, cut anywhere.
    void feed(const QByteArray &bytes);
    void resize(int columns, int rows);

    /// From the first line ever to the last one with something in it, blanks at the ends left out. A line that was
    /// wrapped is several here.
    QStringList lines() const;
    /// The same, with wrapped lines put together.
    QStringList wholeLines() const;

    /// lines() each time automatic wrapping was switched on again: by then a set of live lines is complete.
    const QList<QStringList> &frames() const { return m_frames; }
    /// Characters that found no room in their line while automatic wrapping was off. Those between a change of size and
    /// the next erasing below do not count: they were made for the size before.
    int lostCharacters() const { return m_lost; }
    int colourCodes() const { return m_colours; }
    const QStringList &unknownCodes() const { return m_unknown; }

private:
    struct Row {
        QStringList cells; ///< the second half of a wide character is empty
        bool wrapped = false; ///< goes on in the next row
    };

    void take(char32_t c);
    void takeText(char32_t c);
    void takeCode(char32_t c);
    void obey(const QString &parameters, QChar command);
    void lineFeed();
    void moveUp(int rows);
    void eraseBelow();
    Row &current();
    void wrapAnew(int columns);
    void cutOff(int columns);
    static QString textOf(const QStringList &cells);

    const OnResize m_onResize;
    int m_columns;
    int m_height;
    QList<Row> m_rows{Row{}};
    qsizetype m_top = 0; ///< first row on the screen
    qsizetype m_row = 0;
    int m_column = 0;
    bool m_wraps = true;
    bool m_resized = false; ///< what comes may still be made for the old size
    QStringDecoder m_decoder{QStringDecoder::Utf8};
    QString m_code; ///< an escape code that is not complete yet
    QList<QStringList> m_frames;
    int m_lost = 0;
    int m_colours = 0;
    QStringList m_unknown;
};
