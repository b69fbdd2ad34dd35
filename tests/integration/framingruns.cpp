// SPDX-License-Identifier: MIT
#include <tests/integration/framingruns.h>

#include <tests/integration/plaitsandbox.h>
#include <tests/integration/programrun.h>
#include <tests/integration/sidebyside.h>
#include <tests/support/testfiles.h>

#include <QFile>
#include <QHash>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>

#include <atomic>
#include <memory>

using namespace Qt::StringLiterals;

namespace
{
using Kind = FramingOutcome::Kind;
using Begin = FramingCase::Begin;
using Verdict = FramingCase::Verdict;

constexpr int kSideBySide = 6;
/// An answer that has ended is judged in a moment; this long is never.
constexpr int kNeverMs = 15000;
constexpr int kNeverOfManyMs = 120000;
constexpr int kCurlSeconds = 5;
constexpr int kCurlTimedOut = 28;
constexpr qsizetype kMostOfWrongFile = 60;

const QByteArray kName = "file.bin";
const QStringList kOnce{u"--json"_s, u"-q"_s, u"--tries"_s, u"1"_s, u"--retry-wait"_s, u"0.01"_s};

void write(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    if (file.open(QIODevice::WriteOnly)) {
        file.write(bytes);
    }
}

ProgramRun runPlaitIn(const PlaitSandbox &sandbox, const QStringList &arguments, int patienceMs)
{
    return ProgramRun::of(sandbox, PlaitSandbox::program(), arguments + QStringList{u"-d"_s, sandbox.downloads()},
                          patienceMs, {});
}

QStringList loginOptions(const QByteArray &login)
{
    if (login.isEmpty()) {
        return {};
    }
    return {u"--user"_s, QString::fromLatin1(login)};
}

/// @param summary of a download that has ended @param asked the file as its address names it
FramingOutcome outcomeOf(const QJsonObject &summary, const QString &asked)
{
    // A redirect may give it another name.
    const QString said = summary.value(u"path"_s).toString();
    const QString path = said.isEmpty() ? asked : said.endsWith(u".part"_s) ? said.chopped(5) : said;
    FramingOutcome outcome;
    outcome.status = summary.value(u"status"_s).toInt(-1);
    outcome.kind = outcome.status == 0 ? Kind::Whole : Kind::Refused;
    outcome.sentence = summary.value(u"error"_s).toString().toUtf8();
    if (QFile::exists(path)) {
        outcome.file = TestFiles::readFile(path);
    }
    const QString part = path + u".part"_s;
    if (QFile::exists(part)) {
        // Room that is reserved behind what has come is not kept.
        outcome.kept = TestFiles::readFile(part).left(summary.value(u"bytes"_s).toInteger());
    }
    return outcome;
}

qsizetype bytesBefore(Begin begin)
{
    return firstPartOf(begin).bytes.isEmpty() ? 0 : begin == Begin::AfterSix ? 6 : 12;
}

bool hasFirstPart(const PlaitSandbox &sandbox, const QString &name, Begin begin)
{
    const QByteArray first = QByteArray("hello world!").left(bytesBefore(begin));
    return !sandbox.has(name) && sandbox.partBeginsWith(name, first);
}

QString asText(const QByteArray &bytes)
{
    const QString tail = bytes.size() > kMostOfWrongFile ? u"…"_s : QString();
    return u'"' + QString::fromLatin1(bytes.left(kMostOfWrongFile).toPercentEncoding(" !;=:")) + tail + u'"';
}

QString inFile(const FramingOutcome &outcome)
{
    return outcome.file ? asText(*outcome.file) : u"no file"_s;
}

/// The server that all runs of one kind share, or one that greets with this row's answer.
class Far
{
public:
    Far(const FramingCase &row, RawServer &shared)
        : m_own(row.isGreeting ? std::make_unique<RawServer>() : nullptr)
        , m_server(m_own ? *m_own : shared)
    {
    }

    RawServer &server() const { return m_server; }

    void play(const FramingCase &row, const QByteArray &key)
    {
        if (row.isGreeting) {
            m_server.setGreeting(row.answers.first());
        }
        m_server.setAnswers(key, row.answers);
    }

private:
    std::unique_ptr<RawServer> m_own;
    RawServer &m_server;
};
}

QString FramingOutcome::inWords() const
{
    switch (kind) {
    case Kind::Whole:
        return u"whole, "_s + inFile(*this);
    case Kind::Refused:
        return u"refused with %1"_s.arg(status);
    case Kind::Hangs:
        return u"hangs"_s;
    case Kind::Died:
        return u"died"_s;
    case Kind::NotBegun:
        break;
    }
    return u"nothing to begin with: "_s + QString::fromUtf8(sentence);
}

QString FramingOutcome::wrongFor(const FramingCase &row) const
{
    if (kind != Kind::Whole && kind != Kind::Refused) {
        return inWords();
    }
    if (kind == Kind::Whole) {
        if (row.verdict == Verdict::Refused) {
            return u"taken for whole: "_s + inFile(*this);
        }
        return file == row.file ? QString() : u"status 0 and another file: "_s + inFile(*this);
    }
    if (row.verdict == Verdict::Whole) {
        return u"refused with %1: %2"_s.arg(status).arg(QString::fromUtf8(sentence));
    }
    if (file) {
        return u"refused with %1, and there is a file: %2"_s.arg(status).arg(inFile(*this));
    }
    if (!row.file.startsWith(kept)) {
        return u"refused with %1, and keeps what is not of the file: %2"_s.arg(status).arg(asText(kept));
    }
    return sentence.isEmpty() ? u"refused with %1, and says nothing"_s.arg(status) : QString();
}

FramingOutcome FramingRuns::runPlait(const FramingCase &row, RawServer &shared, const QByteArray &key)
{
    Far far(row, shared);
    const PlaitSandbox sandbox;
    const QString name = QString::fromLatin1(kName);
    const QString url = far.server().url(key, kName).toString();
    const QStringList arguments = kOnce + loginOptions(row.login) + QStringList{url};
    if (row.begin != Begin::AtZero) {
        far.server().setAnswers(key, {firstPartOf(row.begin)});
        const ProgramRun first = runPlaitIn(sandbox, arguments, kNeverMs);
        if (!hasFirstPart(sandbox, name, row.begin)) {
            return {Kind::NotBegun, 0, {}, {}, first.err.trimmed()};
        }
    }
    far.play(row, key);
    const ProgramRun result = runPlaitIn(sandbox, arguments, kNeverMs);
    if (result.status < 0) {
        return {result.hasEnded ? Kind::Died : Kind::Hangs, 0, {}, {}, result.err};
    }
    FramingOutcome outcome = outcomeOf(result.summaries().value(url), sandbox.path(name));
    if (outcome.status != result.status) {
        outcome.kind = Kind::Died;
    }
    return outcome;
}

FramingOutcome FramingRuns::runCurl(const FramingCase &row, RawServer &shared, const QByteArray &key)
{
    Far far(row, shared);
    far.play(row, key);
    const QTemporaryDir folder;
    const QString path = folder.filePath(QString::fromLatin1(kName));
    QStringList arguments{
        u"-q"_s, u"-sSL"_s, u"--fail"_s, u"--noproxy"_s, u"*"_s, u"--max-time"_s, QString::number(kCurlSeconds),
        u"-o"_s, path};
    if (row.begin != Begin::AtZero) {
        write(path, QByteArray("hello world!").left(bytesBefore(row.begin)));
        arguments += {u"-C"_s, u"-"_s};
    }
    if (!row.login.isEmpty()) {
        arguments += QStringList{u"--anyauth"_s} + loginOptions(row.login);
    }
    QProcess curl;
    curl.setStandardInputFile(QProcess::nullDevice());
    curl.start(u"curl"_s, arguments + QStringList{far.server().url(key, kName).toString()});
    if (!curl.waitForFinished(kNeverMs) || curl.exitCode() == kCurlTimedOut) {
        return {Kind::Hangs, 0, {}, {}, {}};
    }
    FramingOutcome outcome;
    outcome.status = curl.exitCode();
    outcome.sentence = curl.readAllStandardError().trimmed();
    outcome.kind = outcome.status == 0 ? Kind::Whole : Kind::Refused;
    if (outcome.status == 0) {
        // It makes no file of no bytes.
        outcome.file = QFile::exists(path) ? TestFiles::readFile(path) : QByteArray();
    }
    return outcome;
}

QList<FramingOutcome> FramingRuns::runAll(const QList<FramingCase> &rows, const Program &program)
{
    RawServer server;
    QList<FramingOutcome> outcomes(rows.size());
    FramingOutcome *const places = outcomes.data();
    std::atomic<qsizetype> next = 0;
    runSideBySide(kSideBySide, [&] {
        const qsizetype row = next++;
        if (row < rows.size()) {
            places[row] = program(rows.at(row), server, "r" + QByteArray::number(row));
        }
        return row < rows.size();
    });
    return outcomes;
}

/// All cuts of one answer, each under a name of its own.
class CutRun
{
    Q_DISABLE_COPY_MOVE(CutRun)

public:
    using PieceOf = std::function<qsizetype(qsizetype)>;

    CutRun(const SoundAnswer &sound, const PieceOf &pieceOf)
        : m_sound(sound)
        , m_pieceOf(pieceOf)
    {
    }

    QStringList run()
    {
        if (m_sound.begin != Begin::AtZero) {
            begin();
            runProgram();
        }
        for (qsizetype cut = 0; cut <= last(); ++cut) {
            m_server.setAnswers(keyOf(cut), answersCutBehind(cut));
        }
        const QHash<QString, QJsonObject> summaries = runProgram().summaries();
        QStringList wrong;
        for (qsizetype cut = 0; cut <= last(); ++cut) {
            const QString what = wrongOf(cut, summaries.value(urlOf(cut)));
            if (!what.isEmpty()) {
                wrong.append(u"cut behind byte %1 of %2, pieces of %3: %4"_s.arg(
                    QString::number(cut), QString::number(last()), QString::number(m_pieceOf(cut)), what));
            }
        }
        return wrong;
    }

private:
    qsizetype last() const { return m_sound.answers.first().size(); }
    static QByteArray keyOf(qsizetype cut) { return "c" + QByteArray::number(cut); }
    static QByteArray nameOf(qsizetype cut) { return keyOf(cut) + ".bin"; }
    QString urlOf(qsizetype cut) const { return m_server.url(keyOf(cut), nameOf(cut)).toString(); }

    void begin()
    {
        for (qsizetype cut = 0; cut <= last(); ++cut) {
            m_server.setAnswers(keyOf(cut), {firstPartOf(m_sound.begin)});
        }
    }

    QList<RawAnswer> answersCutBehind(qsizetype cut) const
    {
        QList<RawAnswer> answers;
        for (const QByteArray &bytes : m_sound.answers) {
            RawAnswer answer;
            answer.bytes = bytes;
            answers.append(answer);
        }
        answers.first().bytes.truncate(cut);
        answers.first().piece = m_pieceOf(cut);
        return answers;
    }

    ProgramRun runProgram()
    {
        QByteArray list;
        for (qsizetype cut = 0; cut <= last(); ++cut) {
            list += urlOf(cut).toLatin1() + '\n';
        }
        const QString path = m_folder.filePath(u"list"_s);
        write(path, list);
        const QStringList arguments{u"-j"_s, u"8"_s, u"-i"_s, path};
        return runPlaitIn(m_sandbox, kOnce + loginOptions(m_sound.login) + arguments, kNeverOfManyMs);
    }

    QString wrongOf(qsizetype cut, const QJsonObject &summary) const
    {
        if (summary.isEmpty()) {
            return u"hangs"_s;
        }
        FramingCase row;
        row.file = m_sound.file;
        row.verdict = cut == last() && m_sound.isWhole ? Verdict::Whole : Verdict::Either;
        if (m_sound.endsAnywhereFrom >= 0 && cut >= m_sound.endsAnywhereFrom) {
            row.file.truncate(cut - m_sound.endsAnywhereFrom);
        }
        const FramingOutcome outcome = outcomeOf(summary, m_sandbox.path(QString::fromLatin1(nameOf(cut))));
        return outcome.wrongFor(row);
    }

    const SoundAnswer m_sound;
    const PieceOf m_pieceOf;
    RawServer m_server;
    const PlaitSandbox m_sandbox;
    const QTemporaryDir m_folder;
};

QStringList FramingRuns::runCuts(const SoundAnswer &sound, const std::function<qsizetype(qsizetype)> &pieceOf)
{
    return CutRun(sound, pieceOf).run();
}
