// SPDX-License-Identifier: MIT
#include <cli/arguments.h>
#include <cli/commandrunner.h>
#include <cli/jsonprinter.h>
#include <cli/progressline.h>
#include <cli/progressprinter.h>
#include <cli/signalwatcher.h>
#include <inet/qt/download/framework/qtappdefaultlogger.h>

#include <QCoreApplication>
#include <QDir>
#include <QTextStream>

#include <memory>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

void complain(QTextStream &notes, const QString &text)
{
    notes << "plait: " << ProgressLine::printable(text) << '\n' << Qt::flush;
}

/// To a file, or, where only a level is given, to standard error.
bool startLog(const Arguments &arguments, QString *errorText)
{
    QtAppLogger *const logger = QtAppDefaultLogger::instance();
    logger->setVerbosityLevel(arguments.logLevel);
    if (arguments.logFile.isEmpty()) {
        logger->setSink([](int, const QString &line) { QTextStream(stderr) << ProgressLine::printable(line) << '\n'; });
        return true;
    }
    QString reason;
    if (logger->openFile(arguments.logFile, &reason))
        return true;
    *errorText = u"cannot write the log \"%1\": %2. Choose another file with --log."_s.arg(arguments.logFile, reason);
    return false;
}

/// Qt's own remarks are for the log; on a terminal they would stand in the middle of the progress.
void logQtMessage(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (type == QtCriticalMsg || type == QtFatalMsg)
        QTextStream(stderr) << qFormatLogMessage(type, context, message) << '\n';
    QtAppDefaultLogger::instance()->log(1, qFormatLogMessage(type, context, message));
}

std::unique_ptr<Printer> makePrinter(const Arguments &arguments, QTextStream &answers, QTextStream &notes)
{
    if (arguments.json)
        return std::make_unique<JsonPrinter>(answers, notes);
    const int terminal = isatty(STDERR_FILENO) ? STDERR_FILENO : -1;
    return std::make_unique<ProgressPrinter>(answers, notes, terminal, arguments.quiet);
}

int run(const Arguments &arguments, QTextStream &answers, QTextStream &notes)
{
    SessionOptions options;
    options.ignoreSslErrors = arguments.insecure;
    options.caCertificatesFile = arguments.caCertificatesFile;
    options.usage = arguments.usage;
    DownloadSession session;
    QString errorText;
    if (!startLog(arguments, &errorText) || !session.open(options, &errorText)) {
        complain(notes, errorText);
        return int(ExitStatus::Unknown);
    }
    const std::unique_ptr<Printer> printer = makePrinter(arguments, answers, notes);
    CommandRunner runner(arguments, session, *printer);
    SignalWatcher watcher;
    QObject::connect(&watcher, &SignalWatcher::stopRequested, &runner, &CommandRunner::stop);
    QObject::connect(&runner, &CommandRunner::done, &runner,
                     [](ExitStatus status) { QCoreApplication::exit(int(status)); });
    QMetaObject::invokeMethod(&runner, &CommandRunner::begin, Qt::QueuedConnection);
    return QCoreApplication::exec();
}

}

int main(int argc, char *argv[])
{
    qInstallMessageHandler(&logQtMessage);
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(u"plait"_s);
    QTextStream answers(stdout);
    QTextStream notes(stderr);
    const Arguments::Outcome outcome = Arguments::parse(argc, argv, QDir::currentPath());
    if (!outcome.arguments) {
        if (outcome.status == ExitStatus::Done)
            answers << outcome.text;
        else
            complain(notes, outcome.text);
        return int(outcome.status);
    }
    const int status = run(*outcome.arguments, answers, notes);
    // The network managers end their own threads when they go; none may be left when the process does.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return status;
}
