// SPDX-License-Identifier: MIT
#include <cli/program.h>

#include <cli/answerof.h>
#include <cli/arguments.h>
#include <cli/clausewords.h>
#include <cli/commandline.h>
#include <cli/downloadsrunner.h>
#include <cli/failurewords.h>
#include <cli/foreignbytes.h>
#include <cli/jsonprinter.h>
#include <cli/listcare.h>
#include <cli/listcommands.h>
#include <cli/lookupsrunner.h>
#include <cli/nextcommand.h>
#include <cli/processtitle.h>
#include <cli/progressprinter.h>
#include <cli/questions.h>
#include <cli/signalwatcher.h>
#include <cli/standardoutput.h>
#include <cli/trace.h>
#include <host/policy/shown.h>
#include <host/storage/logfile.h>
#include <inet/qt/download/framework/qtappdefaultlogger.h>

#include <QCoreApplication>
#include <QTextStream>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

void complain(QTextStream &notes, const QString &text)
{
    notes << "plait: " << Shown::text(text) << '\n' << Qt::flush;
}

/// Gives what writes it; empty = nothing does. That it cannot be written ends nothing. @param problem the sentence then
QtAppLogger::Sink startLog(const Arguments &arguments, QString *problem)
{
    if (arguments.logLevel == 0)
        return {};
    if (arguments.logFile.isEmpty()) {
        *problem = u"there is no home folder: no log is written. Name a file for it with --log."_s;
        return {};
    }
    const auto file = std::make_shared<LogFile>();
    Clause reason;
    if (!file->open(arguments.logFile, &reason)) {
        *problem = u"cannot write the log \"%1\": %2. Choose another file with --log."_s.arg(arguments.logFile,
                                                                                             ClauseWords::of(reason));
        return {};
    }
    QtAppLogger *const logger = QtAppDefaultLogger::instance();
    logger->setVerbosityLevel(arguments.logLevel);
    const auto sink = [file](int level, const QString &line) { file->write(level, line); };
    logger->setSink(sink);
    return sink;
}

/// Qt's own remarks are for the log; on a terminal they would stand in the middle of the progress.
void logQtMessage(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (type == QtCriticalMsg || type == QtFatalMsg)
        QTextStream(stderr) << Shown::text(qFormatLogMessage(type, context, message)) << '\n';
    QtAppDefaultLogger::instance()->log(1, qFormatLogMessage(type, context, message));
}

/// What the program says: answers, and everything else.
struct Streams {
    StandardOutput output;
    QTextStream answers{&output};
    QTextStream notes{stderr};
};

/// How the process ends, now that there is nothing more to say.
int endWith(ExitStatus status, Streams &streams)
{
    streams.answers.flush();
    QString complaint;
    const ExitStatus last = streams.output.finalStatus(status, &complaint);
    if (!complaint.isEmpty())
        complain(streams.notes, complaint);
    return int(last);
}

std::unique_ptr<Printer> makePrinter(const Arguments &arguments, Streams &streams)
{
    if (arguments.json)
        return std::make_unique<JsonPrinter>(streams.answers, streams.notes);
    const int terminal = isatty(STDERR_FILENO) ? STDERR_FILENO : -1;
    const ProgressOptions options =
        ProgressOptions::of(arguments.progress, terminal, arguments.quiet, QProcessEnvironment::systemEnvironment());
    return std::make_unique<ProgressPrinter>(streams.answers, streams.notes, options);
}

bool canAsk(const Arguments &arguments)
{
    return !arguments.json && !arguments.quiet && !arguments.input && isatty(STDIN_FILENO) && isatty(STDERR_FILENO);
}

ExitStatus runToEnd(Runner &runner, const StandardOutput &output)
{
    SignalWatcher watcher;
    QObject::connect(&watcher, &SignalWatcher::stopRequested, &runner, &Runner::stop);
    QObject::connect(&output, &StandardOutput::readerGone, &runner, &Runner::stop, Qt::QueuedConnection);
    QObject::connect(&runner, &Runner::done, &runner, [](ExitStatus status) { QCoreApplication::exit(int(status)); });
    QMetaObject::invokeMethod(&runner, &Runner::begin, Qt::QueuedConnection);
    return ExitStatus(QCoreApplication::exec());
}

ExitStatus run(const Arguments &arguments, Engine &engine, Printer &printer, Questions *questions,
               StandardOutput &output)
{
    const bool looksUp = arguments.command == Arguments::Command::Query || arguments.command == Arguments::Command::Plan
        || arguments.command == Arguments::Command::Check || arguments.command == Arguments::Command::SetUrl;
    if (looksUp) {
        LookupsRunner runner(arguments, engine, printer);
        return runToEnd(runner, output);
    }
    DownloadsRunner runner(arguments, engine, printer, questions, output);
    return runToEnd(runner, output);
}

/// Done, or what came of it, which is said then; what is said in spite of success is told, too.
ExitStatus statusOf(const EngineAnswer &answer, QTextStream &notes)
{
    if (!answer.isOk())
        complain(notes, FailureWords::sentence(answer.failure));
    for (const Failure &warning : answer.warnings)
        complain(notes, FailureWords::sentence(warning));
    return exitStatusOf(answer.failure);
}

/// Where nothing can be kept, list and log go the same way: that is one line. Nobody has asked for either.
void tellUnkept(EngineAnswer &opened, Arguments &arguments, const QString &logProblem, QTextStream &notes)
{
    const auto list = std::find_if(opened.warnings.cbegin(), opened.warnings.cend(),
                                   [](const Failure &warning) { return warning.kind == Failure::Kind::ListInMemory; });
    const bool isLogTold = !logProblem.isEmpty() && (arguments.isLogNamed || list == opened.warnings.cend());
    if (isLogTold && (arguments.isLogNamed || !arguments.quiet))
        complain(notes, logProblem);
    if (list == opened.warnings.cend())
        return;
    arguments.session.isListKept = false;
    const QString also = logProblem.isEmpty() || isLogTold ? QString() : u" There is no log, either (--log)."_s;
    if (!arguments.quiet)
        complain(notes, FailureWords::sentence(*list) + also);
    opened.warnings.erase(list);
}

/// The arguments know afterwards whether there is a list. @param logProblem why there is no log; empty = there is one,
/// or none is wanted
ExitStatus open(Arguments &arguments, Engine &engine, QTextStream &notes, const QString &logProblem = {})
{
    EngineOptions options{arguments.session, arguments.queue};
    options.queue.canAsk = canAsk(arguments);
    EngineAnswer opened = answerOf([&](const Engine::Callback &done) { engine.open(options, done); });
    tellUnkept(opened, arguments, logProblem, notes);
    return statusOf(opened, notes);
}

ExitStatus runWithNetwork(Arguments &arguments, Engine &engine, Streams &streams)
{
    QString logProblem;
    const QtAppLogger::Sink log = startLog(arguments, &logProblem);
    ExitStatus status = open(arguments, engine, streams.notes, logProblem);
    if (status == ExitStatus::Done)
        status = statusOf(answerOf([&engine](const Engine::Callback &done) { engine.prepare(done); }), streams.notes);
    if (status != ExitStatus::Done)
        return status;
    const bool isQuick = arguments.command == Arguments::Command::Remove
        || arguments.command == Arguments::Command::Clean
        || (arguments.command == Arguments::Command::SetUrl && arguments.force);
    if (isQuick)
        return ListCommands::change(arguments, engine, {streams.answers, streams.notes});
    const std::unique_ptr<Printer> printer = makePrinter(arguments, streams);
    const auto trace = arguments.verbose ? std::make_unique<Trace>(*printer, log) : nullptr;
    const std::unique_ptr<Questions> questions =
        canAsk(arguments) ? std::make_unique<Questions>(*printer, STDIN_FILENO) : nullptr;
    return run(arguments, engine, *printer, questions.get(), streams.output);
}

/// Empty = it is gone.
QString currentFolder()
{
    std::error_code problem;
    return ForeignBytes::text(QByteArray::fromStdString(std::filesystem::current_path(problem).string()));
}

/// What a terminal makes of a file's bytes nobody has asked for.
bool wouldSpill(const Arguments &arguments)
{
    return arguments.command == Arguments::Command::Get && arguments.isStreaming() && isatty(STDOUT_FILENO);
}

ExitStatus run(Arguments arguments, Streams &streams, const Program::EngineFactory &makeEngine)
{
    if (wouldSpill(arguments)) {
        complain(
            streams.notes,
            u"\"-o -\" would write the file to the terminal, which may take its bytes for commands. Nothing was "
            u"fetched. Write \"-o FILE\", or send it on: \"| less\", \"> FILE\"; \"| cat\" shows it all the same."_s);
        return ExitStatus::BadOption;
    }
    switch (arguments.command) {
    case Arguments::Command::List:
    case Arguments::Command::Show: {
        const std::unique_ptr<Engine> engine = makeEngine();
        const ExitStatus status = open(arguments, *engine, streams.notes);
        return status == ExitStatus::Done ? ListCommands::print(arguments, *engine, {streams.answers, streams.notes})
                                          : status;
    }
    case Arguments::Command::CheckList:
        return ListCare::check(arguments, streams.answers, streams.notes);
    case Arguments::Command::RepairList:
        return ListCare::repair(arguments, streams.answers, streams.notes);
    case Arguments::Command::Config:
        return ListCommands::printSettings(arguments, {streams.answers, streams.notes});
    default: {
        const std::unique_ptr<Engine> engine = makeEngine();
        return runWithNetwork(arguments, *engine, streams);
    }
    }
}

}

int Program::run(int argc, char *argv[], const EngineFactory &makeEngine)
{
    StandardOutput::prepareProcess();
    qInstallMessageHandler(&logQtMessage);
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(u"plait"_s);
    Streams streams;
    // Parsing may wait for URLs on standard input: meanwhile nobody is to read secrets off the process.
    const std::vector<std::string> typed(argv, argv + argc);
    QStringList typedWords;
    for (int i = 1; i < argc; ++i)
        typedWords.append(ForeignBytes::text(argv[i]));
    NextCommand::setFiles(CommandLine::listFileOf(typedWords), CommandLine::configFileOf(typedWords));
    ProcessTitle::hide(argc, argv, CommandLine::secretOptions());
    std::vector<const char *> words;
    words.reserve(typed.size());
    for (const std::string &word : typed)
        words.push_back(word.c_str());
    const Arguments::Outcome outcome = Arguments::parse(argc, words.data(), currentFolder());
    if (!outcome.arguments) {
        if (outcome.status == ExitStatus::Done)
            streams.answers << outcome.text;
        else
            complain(streams.notes, outcome.text);
        return endWith(outcome.status, streams);
    }
    for (const QString &note : outcome.arguments->notes) // "-s" of a copied line is not meant for them
        complain(streams.notes, note);
    return endWith(::run(*outcome.arguments, streams, makeEngine), streams);
}
