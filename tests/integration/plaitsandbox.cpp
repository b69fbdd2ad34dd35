// SPDX-License-Identifier: MIT
#include <tests/integration/plaitsandbox.h>

#include <tests/support/sqlfile.h>
#include <tests/support/testfiles.h>

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QTest>

#include <csignal>
#include <sys/prctl.h>
#include <sys/resource.h>

using namespace Qt::StringLiterals;

namespace
{
QString findDatabase(const QString &folder)
{
    QDirIterator files(folder, QDir::Files, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        QFile file(files.next());
        if (file.open(QIODevice::ReadOnly) && file.read(15) == "SQLite format 3") {
            return file.fileName();
        }
    }
    return {};
}

QList<PlaitSandbox::Piece> piecesIn(const QString &path)
{
    QList<PlaitSandbox::Piece> pieces;
    const QList<QVariantList> rows =
        SqlFile(path).rows(u"SELECT offset, downloaded FROM sections WHERE downloaded > 0"_s);
    for (const QVariantList &row : rows) {
        pieces.append({row.at(0).toLongLong(), row.at(1).toLongLong()});
    }
    return pieces;
}

// -1 unless it ended by itself.
int statusOf(const QProcess &process)
{
    const bool ended = process.state() == QProcess::NotRunning && process.exitStatus() == QProcess::NormalExit
        && process.error() != QProcess::FailedToStart;
    return ended ? process.exitCode() : -1;
}
}

PlaitSandbox::PlaitSandbox()
{
    const QDir dir(m_dir.path());
    for (const QString &folder : {u"data"_s, u"home"_s, u"downloads"_s, u"run"_s}) {
        dir.mkpath(folder);
    }
    QFile::setPermissions(dir.filePath(u"run"_s), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

PlaitSandbox::~PlaitSandbox()
{
    if (isRunning()) {
        m_process->kill();
        m_process->waitForFinished();
    }
}

void PlaitSandbox::setVariable(const QString &name, const QString &value)
{
    m_variables.insert(name, value);
}

PlaitResult PlaitSandbox::run(const QStringList &arguments)
{
    return runBare(arguments + QStringList{u"-d"_s, downloads()});
}

PlaitResult PlaitSandbox::runBare(const QStringList &arguments)
{
    m_err.clear();
    m_process = launch(arguments);
    return finish();
}

void PlaitSandbox::start(const QStringList &arguments)
{
    startBare(arguments + QStringList{u"-d"_s, downloads()});
}

void PlaitSandbox::startBare(const QStringList &arguments)
{
    m_err.clear();
    m_process = launch(arguments);
}

void PlaitSandbox::startReading(const QStringList &arguments)
{
    m_err.clear();
    m_process = launch(arguments + QStringList{u"-d"_s, downloads()}, Input::Written);
}

void PlaitSandbox::write(const QByteArray &input)
{
    m_process->write(input);
}

void PlaitSandbox::endInput()
{
    m_process->closeWriteChannel();
}

bool PlaitSandbox::isRunning() const
{
    return m_process && m_process->state() != QProcess::NotRunning;
}

qint64 PlaitSandbox::processId() const
{
    return isRunning() ? m_process->processId() : 0;
}

qint64 PlaitSandbox::engineProcessId() const
{
    const qint64 id = processId();
    const QByteArrayList children = TestFiles::readFile(u"/proc/%1/task/%1/children"_s.arg(id)).simplified().split(' ');
    const auto isEngine = [](const QByteArray &child) {
        return TestFiles::readFile(u"/proc/%1/comm"_s.arg(QString::fromLatin1(child))) == "engineserver\n";
    };
    const auto engine = std::find_if(children.cbegin(), children.cend(), isEngine);
    return engine == children.cend() ? id : engine->toLongLong();
}

void PlaitSandbox::sendSignal(int number)
{
    if (isRunning()) {
        ::kill(static_cast<pid_t>(processId()), number);
    }
}

void PlaitSandbox::kill()
{
    if (!isRunning())
        return;
    const pid_t engine = pid_t(engineProcessId());
    sendSignal(SIGSTOP);
    ::kill(engine, SIGKILL);
    sendSignal(SIGKILL);
}

QByteArray PlaitSandbox::errorText()
{
    if (m_process) {
        m_err += m_process->readAllStandardError();
    }
    return m_err;
}

PlaitResult PlaitSandbox::finish(int timeoutMs)
{
    if (!m_process) {
        return {};
    }
    // Not waitForFinished(): the test's own events have to go on.
    const bool ended = QTest::qWaitFor([this] { return !isRunning(); }, timeoutMs);
    PlaitResult result{statusOf(*m_process), m_process->readAllStandardOutput(), errorText()};
    if (!ended) {
        result.err += "\n(did not end in time)\n";
        m_process->kill();
        m_process->waitForFinished();
    }
    m_process.reset();
    return result;
}

QString PlaitSandbox::downloads() const
{
    return m_dir.filePath(u"downloads"_s);
}

QString PlaitSandbox::path(const QString &name) const
{
    return QDir(downloads()).filePath(name);
}

bool PlaitSandbox::has(const QString &name) const
{
    return QFile::exists(path(name));
}

QStringList PlaitSandbox::files() const
{
    return QDir(downloads()).entryList(QDir::Files | QDir::Hidden | QDir::System, QDir::Name);
}

QString PlaitSandbox::dataHome() const
{
    return m_dir.filePath(u"data"_s);
}

QList<PlaitSandbox::Piece> PlaitSandbox::listedPieces() const
{
    const QString path = findDatabase(dataHome());
    return path.isEmpty() ? QList<Piece>() : piecesIn(path);
}

bool PlaitSandbox::partBeginsWith(const QString &name, const QByteArray &bytes) const
{
    QFile file(path(name + u".part"_s));
    return file.open(QIODevice::ReadOnly) && file.read(bytes.size()) == bytes;
}

QString PlaitSandbox::program()
{
    return qEnvironmentVariable("PLAIT_TESTED_PROGRAM", QStringLiteral(PLAIT_PROGRAM));
}

QProcessEnvironment PlaitSandbox::environment() const
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    const QStringList names = environment.keys();
    for (const QString &name : names) {
        if (name.endsWith(u"_proxy"_s, Qt::CaseInsensitive) || name.startsWith(u"XDG_"_s)) {
            environment.remove(name);
        }
    }
    environment.insert(u"HOME"_s, m_dir.filePath(u"home"_s));
    environment.insert(u"XDG_DATA_HOME"_s, dataHome());
    environment.insert(u"XDG_CONFIG_HOME"_s, dataHome());
    environment.insert(u"XDG_CACHE_HOME"_s, dataHome());
    environment.insert(u"XDG_RUNTIME_DIR"_s, m_dir.filePath(u"run"_s));
    environment.insert(u"LC_ALL"_s, u"C.UTF-8"_s);
    environment.insert(m_variables);
    return environment;
}

std::unique_ptr<QProcess> PlaitSandbox::launch(const QStringList &arguments, Input input) const
{
    auto process = std::make_unique<QProcess>();
    process->setProcessEnvironment(environment());
    process->setWorkingDirectory(downloads());
    if (input == Input::Nothing)
        process->setStandardInputFile(QProcess::nullDevice());
    process->setChildProcessModifier([limit = rlim_t(m_descriptorLimit)] {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        const rlimit both{limit, limit};
        if (limit > 0) {
            setrlimit(RLIMIT_NOFILE, &both);
        }
    });
    process->start(program(), arguments);
    process->waitForStarted();
    return process;
}
