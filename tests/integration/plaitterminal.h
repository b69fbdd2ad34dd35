// SPDX-License-Identifier: MIT
#pragma once

#include <tests/integration/plaitsandbox.h>
#include <tests/support/terminalmodel.h>

#include <QProcess>
#include <QStringList>

#include <functional>

/// The program on a terminal of its own: it is the leader of a session there, its standard output and standard error
/// go to the screen, and it is told when the size changes. It is killed with this object.
class PlaitTerminal
{
public:
    PlaitTerminal(int columns, int rows, TerminalModel::OnResize onResize = TerminalModel::OnResize::WrapAnew);
    ~PlaitTerminal();

    /// Once. In the download folder of the sandbox, which outlives this object, and with its environment.
    /// @param variables "NAME=value", besides
    bool start(const PlaitSandbox &sandbox, const QStringList &arguments, const QStringList &variables = {});

    /// False when the condition does not come true in time, or the program ends before.
    bool waitFor(const std::function<bool()> &condition);
    /// The exit status; -1 unless it ended by itself, in time.
    int finish();
    /// Everything that was written before is on the screen before its size changes.
    void resize(int columns, int rows);

    void type(const QByteArray &keys);
    /// Types Ctrl-C.
    void interrupt();

    const TerminalModel &screen() const { return m_model; }
    /// Everything that the program wrote.
    const QByteArray &bytes() const { return m_bytes; }

private:
    bool open(int columns, int rows);
    bool setSize(int columns, int rows) const;
    void drain();

    TerminalModel m_model;
    QByteArray m_bytes;
    QProcess m_process;
    int m_file = -1; ///< the terminal's far side
    QByteArray m_name; ///< path of its near side
    bool m_opened = false;

    Q_DISABLE_COPY_MOVE(PlaitTerminal)
};
