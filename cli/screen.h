// SPDX-License-Identifier: MIT
#pragma once

#include <QStringList>

class QTextStream;

/// The live lines at the end of what a terminal shows, and messages above them.
///
/// Between calls the cursor rests at the beginning of the first live line. So everything live lies behind it, and can
/// be erased whatever the terminal did to it when its size changed: cut the lines off, or wrapped them anew.
class Screen
{
    Q_DISABLE_COPY_MOVE(Screen)

public:
    struct Size {
        int columns = 80;
        int rows = 24;

        friend bool operator==(const Size &, const Size &) = default;
    };

    /// @param out goes to @p file, a terminal's descriptor; outlives this object
    Screen(QTextStream &out, int file);

    /// Asked anew each time, since it may change at any moment.
    Size size() const;
    /// Puts these in the place of the live lines, over them where it can: nothing flickers. None may be wider than the
    /// terminal; what is cut off for that reason is lost.
    void show(const QStringList &lines);
    /// One line of any width that stays, above these live lines.
    void print(const QString &text, const QStringList &lines);

    /// For a process that ends within the next few instructions: the live lines go, so that the next prompt does not
    /// stand among them. May be called from a signal handler.
    static void eraseAtOnce();

private:
    void put(const QString &before, const QStringList &lines);
    bool canOverwrite(const QStringList &lines, Size size) const;
    void write(const QString &text, bool isLive);

    QTextStream &m_out;
    const int m_file;
    QStringList m_lines; ///< that are live
    Size m_shownAt; ///< of the terminal then
};
