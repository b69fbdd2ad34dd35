// SPDX-License-Identifier: MIT
#pragma once

#include <cli/printer.h>

class QTextStream;

/// Tells people how downloads go: on a terminal in one line that is drawn anew, elsewhere in a line for each step.
class ProgressPrinter : public Printer
{
public:
    /// @param answers what was asked for @param notes everything else @param terminalFile of the notes; -1 = no
    /// terminal
    /// @param quiet errors and answers only
    ProgressPrinter(QTextStream &answers, QTextStream &notes, int terminalFile, bool quiet);

    void begin(const QUrl &url) override;
    void progress(const QString &name, const DownloadStatus &status) override;
    void warn(const QString &text) override;
    void queried(const QueryResult &result) override;
    void end(const Summary &summary) override;

private:
    int width() const;
    bool isStep(const DownloadStatus &status);
    void redraw(const QString &line);
    void clearLine();
    void note(const QString &text);

    QTextStream &m_answers;
    QTextStream &m_notes;
    const int m_terminalFile;
    const bool m_quiet;
    bool m_lineStands = false;
    int m_lastTenth = 0; ///< of the size, last printed
    qint64 m_lastUnsized = 0; ///< bytes last printed, while the size is unknown
};
