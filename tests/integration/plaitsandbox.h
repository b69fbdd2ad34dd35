// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QList>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>

/// What one call of the program came to.
struct PlaitResult {
    /// The exit status; -1 when it crashed or did not end in time.
    int status = -1;
    QByteArray out;
    QByteArray err;
};

/// The program with a home, a list and a download folder of its own, all of which go with this object. Nothing of the
/// machine's user is read or written: no settings, no proxies.
class PlaitSandbox
{
public:
    static constexpr int kPatienceMs = 120000;

    PlaitSandbox();
    ~PlaitSandbox();

    /// Every call of the program from now on finds it in its environment.
    void setVariable(const QString &name, const QString &value);

    /// Every call of the program from now on may have so many files and sockets open, and cannot ask for more.
    void setDescriptorLimit(int limit) { m_descriptorLimit = limit; }

    /// Runs it to its end, in the download folder and with "-d <download folder>" behind the arguments.
    PlaitResult run(const QStringList &arguments);
    /// Runs it to its end with these arguments and no others.
    PlaitResult runBare(const QStringList &arguments);

    /// The same in the background; one at a time. It is killed with this object.
    void start(const QStringList &arguments);
    /// The same with these arguments and no others.
    void startBare(const QStringList &arguments);
    /// Like start(), and its standard input is what write() gives it until endInput().
    void startReading(const QStringList &arguments);
    void write(const QByteArray &input);
    void endInput();
    bool isRunning() const;
    /// Of the one in the background; 0 when there is none.
    qint64 processId() const;
    /// Of the process in which its engine is: its own, or a child of it that is made for that.
    qint64 engineProcessId() const;
    void sendSignal(int number);
    /// SIGKILL to it and to its engine's process, before either hears of the other's end.
    void kill();
    /// What it has written to standard error up to now.
    QByteArray errorText();
    PlaitResult finish(int timeoutMs = kPatienceMs);

    QString downloads() const;
    QString path(const QString &name) const;
    bool has(const QString &name) const;
    /// Names of all files in the download folder, sorted.
    QStringList files() const;

    /// Where the program keeps its list and settings (XDG_DATA_HOME).
    QString dataHome() const;

    /// What the list says is downloaded, as pieces of the file; empty while there is no list.
    struct Piece {
        qint64 offset = 0;
        qint64 size = 0;
    };
    QList<Piece> listedPieces() const;

    /// The incomplete file begins with these bytes: something has been written to disk.
    bool partBeginsWith(const QString &name, const QByteArray &bytes) const;

    /// What a call of the program needs that is made in another way. The program is $PLAIT_TESTED_PROGRAM where that is
    /// set.
    static QString program();
    QProcessEnvironment environment() const;

private:
    enum class Input {
        Nothing,
        Written,
    };
    std::unique_ptr<QProcess> launch(const QStringList &arguments, Input input = Input::Nothing) const;

    QTemporaryDir m_dir;
    QProcessEnvironment m_variables;
    std::unique_ptr<QProcess> m_process;
    QByteArray m_err;
    int m_descriptorLimit = 0; ///< 0 = the test's own

    Q_DISABLE_COPY_MOVE(PlaitSandbox)
};
