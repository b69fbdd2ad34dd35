// SPDX-License-Identifier: MIT
#include <cli/clausewords.h>

#include <algorithm>
#include <iterator>

using namespace Qt::StringLiterals;

namespace
{

using Kind = Clause::Kind;

/// In the words, %1 and %2 are values, and %0 is the clause within.
struct Words {
    Kind kind;
    QStringView text;
    QStringView withoutInner = {}; ///< where it says nothing; empty = the same
};

constexpr Words kWords[] = {
    {Kind::None, u""},
    {Kind::Told, u"%1"},
    {Kind::Unknown, u"for a reason that only a later version of this program knows"},
    {Kind::NoSuchFile, u"there is no such file"},
    {Kind::AFolder, u"a folder"},
    {Kind::ANamedPipe, u"a named pipe"},
    {Kind::ASocket, u"a socket"},
    {Kind::ADevice, u"a device"},
    {Kind::ALinkToNothing, u"a link that leads nowhere"},
    {Kind::NotAFile, u"it is %0, not a file"},
    {Kind::NotAFileBeside, u"\"%1\" beside it is %0, not a file"},
    {Kind::NoList, u"it is no list of downloads"},
    {Kind::NoHomeFolder, u"there is no home folder"},
    {Kind::FolderNotMade, u"the folder \"%1\" cannot be made"},
    {Kind::FolderNotWritable, u"the folder \"%1\" cannot be written"},
    {Kind::FileNotWritable, u"the file \"%1\" cannot be written"},
    {Kind::ListNotOpen, u"it is not open"},
    {Kind::ListInUse, u"another process has it to itself"},
    {Kind::NotOfThisProcess, u"there is no such download for this process"},
    {Kind::ProcessAtWork, u"process %1 is at work on download %2"},
    {Kind::CannotSetAside, u"it cannot be set aside: %0"},
    {Kind::CannotSetAsideDamaged, u"it is damaged and cannot be set aside: %0"},
    {Kind::JustSetAside, u"another process has just done so"},
    {Kind::Damaged, u"it is damaged: %0", u"it is damaged"},
    {Kind::SaidByCheck, u"SQLite's check says: %0"},
    {Kind::FileNotChecked, u"the file cannot be checked: %0"},
    {Kind::StrayRows, u"the table \"%1\" has rows that belong to nothing: %2"},
    {Kind::DownloadUnreadable, u"download %1 cannot be read: %0"},
    {Kind::DownloadsUnreadable, u"the downloads cannot be read: %0"},
    {Kind::UnusableColumn, u"the column \"%1\" holds what it cannot hold"},
    {Kind::ObjectMissing, u"the %1 \"%2\" is missing"},
    {Kind::ObjectChanged, u"the %1 \"%2\" is not as this program makes it"},
    {Kind::ObjectOfOthers, u"the %1 \"%2\" on the table \"%3\" is none of this program's"},
    {Kind::ObjectTooEarly, u"the %1 \"%2\" is there before its version"},
    {Kind::TablesOfVersion, u"its tables have version %1"},
    {Kind::OfLaterVersion, u"it was written by a later version of this program"},
    {Kind::OfLaterTables,
     u"it was written by a later version of this program (its tables have version %1, this program knows up to %2)"},
    {Kind::OfAnotherProgram, u"it is the database of another program"},
    {Kind::NoTableOfDownloads, u"there is no table of downloads in it"},
    {Kind::NoColumnOfDownloads, u"its table of downloads has no column \"%1\""},
    {Kind::FilesOfOthers, u"other downloads of the list are at their files by now"},
    {Kind::TracesOnly, u"only traces of them are left"},
    {Kind::WithoutTable, u"brought over without %1: %2"},
    {Kind::WithoutProgress, u"brought over without file and progress: %1"},
    {Kind::Renumbered, u"brought over with another number, because theirs was taken: %1"},
    {Kind::UnknownCommand, u"this engine does not know the command"},
    {Kind::EngineNotOpen, u"the engine is not open"},
    {Kind::EngineOpen, u"the engine is open already"},
    {Kind::EngineEnding, u"the engine is about to end"},
    {Kind::QueueClosed, u"the queue is closed"},
    {Kind::WaitsOrRuns, u"it waits or runs"},
    {Kind::WaitsOrRunsAlready, u"it waits or runs already"},
    {Kind::WaitsOrHasBegun, u"it waits or has begun already"},
    {Kind::NeitherWaitsNorBegan, u"it neither waits nor has begun"},
    {Kind::NotInQueue, u"it is not in the queue"},
    {Kind::NotPaused, u"it is not paused"},
    {Kind::Running, u"it runs"},
    {Kind::RunningOrEnding, u"it runs already, or the program is about to end"},
    {Kind::BeingStopped, u"it is being stopped already"},
    {Kind::BeingRemoved, u"it is being removed already"},
    {Kind::OtherBegun, u"something else was begun with it"},
    {Kind::Finished, u"it is finished already"},
    {Kind::Streamed, u"it is streamed, and somebody may have read of it"},
    {Kind::NotStreamed, u"it is not streamed"},
    {Kind::NotSoMuchThere, u"not so much of it is there"},
    {Kind::QuestionClosed, u"the question is no longer open"},
    {Kind::NothingThere, u"nothing of it has been downloaded yet"},
    {Kind::SeveralConnections, u"it runs over several connections"},
    {Kind::HasGaps, u"its bytes are not one piece from the start: the file would have holes"},
    {Kind::NoOtherAddress, u"its module does not take another address"},
    {Kind::FileGone, u"its file is gone from \"%1\""},
    {Kind::FileEndsEarly, u"it ends after %1 bytes"},
    {Kind::NotDeleted, u"\"%1\" cannot be deleted: %0"},
    {Kind::NotRenamed, u"it cannot be renamed: %0"},
    {Kind::AnotherFile, u"it is another file than the one that was downloaded"},
    {Kind::NoFolderMade, u"cannot make a folder in \"%1\": %0"},
    {Kind::FileEmpty, u"it is empty"},
    {Kind::FileHasHoles, u"it has holes, where nothing was written yet"},
    {Kind::ChangedWhileCompared, u"it was changed while it was compared with the server's"},
    {Kind::NoteOfOthers, u"\"%1\" beside it says that another program has not finished it"},
    {Kind::BegunBeside, u"\"%1\" stands beside it"},
    {Kind::BytesThere, u"%1 of %2 bytes"},
    {Kind::SentCompressed, u"the server sends its file compressed"},
    {Kind::ChangedJustNow, u"the server's file changed just now: %0"},
    {Kind::LengthUnsaid, u"the server does not say how long its file is"},
    {Kind::LongerThanServers, u"it has %1 bytes, and the server's file %2"},
    {Kind::RestNotSent, u"the server does not send the rest of a file alone"},
    {Kind::NoPartsToCompare,
     u"it is as long as the server's file, but the server sends no parts that it could be compared with"},
    {Kind::ChangedSince, u"the server's file changed at %1, after it was written"},
    {Kind::OtherBytes, u"it has other bytes than the server's file, from byte %1 on"},
    {Kind::OnlySizeSaid, u"the server says no more of it than its size"},
    {Kind::NothingComparable, u"nothing of it was downloaded that could be compared"},
    {Kind::OtherSize, u"the file there has %1 bytes, and the download is of one with %2"},
    {Kind::SilentTooLong, u"nothing happened for too long"},
    {Kind::EndsAfterFewBytes, u"the server ends each transfer after a few bytes"},
    {Kind::HttpStatus, u"HTTP status %1"},
    {Kind::AnsweredWith, u"the server answers with HTTP status %1"},
    {Kind::OtherFile, u"another file"},
    {Kind::NotTheRestAlone, u"does not send the rest of a file alone"},
    {Kind::NoReason, u"it failed without a reason"},
    {Kind::NotFetched, u"it cannot be fetched"},
    {Kind::TooLargeForChecksums, u"it is too large to be a list of checksums"},
    {Kind::NoListOfChecksums, u"it is no list of checksums"},
    {Kind::NoChecksumOf, u"it has no checksum of \"%1\" that is the only one"},
    {Kind::ChecksumIs, u"its %1 checksum is %2, and %3 was asked for"},
    {Kind::DigestIs, u"its %1 checksum is %2, and the server's own digest says %3"},
    {Kind::NoEntryIn, u"it has no \"%1\" and is no module"},
    {Kind::OtherInterface, u"it does not speak interface version %1"},
    {Kind::NoModuleIn, u"it holds no module"},
    {Kind::NamesNoHost, u"it names no host"},
    {Kind::NoKindOfProxy, u"\"%1\" is no kind of proxy that can be used"},
    {Kind::OfVariable, u"%0 (environment variable %1)"},
    {Kind::FarTooLarge, u"it is far too large to be such a file"},
    {Kind::NoCertificates, u"there are none in PEM form in it"},
    {Kind::NoCertificate, u"there is no certificate in PEM form in it"},
    {Kind::NoKey, u"there is no key in PEM form in it, or it has another password"},
    {Kind::KeyOfAnother, u"the key is of another certificate"},
    {Kind::MachineHas, u"this machine has %1"},
    {Kind::InLine, u"line %1: %0"},
    {Kind::NoCookieInLine, u"line %1 is no cookie: %0"},
    {Kind::StrayWord, u"a word stands where machine, default, login, password, account or macdef should"},
    {Kind::NoWordBehind, u"there is no word behind \"%1\""},
    {Kind::BeforeFirstMachine, u"\"%1\" stands before the first machine"},
    {Kind::NumberOfFields, u"it has %1 fields with tabs between them, not 7"},
    {Kind::NoDomain, u"it names no domain"},
    {Kind::SecondFieldNoTruth, u"the second field is neither TRUE nor FALSE"},
    {Kind::FourthFieldNoTruth, u"the fourth field is neither TRUE nor FALSE"},
    {Kind::FifthFieldNoSeconds, u"the fifth field is no number of seconds"},
    {Kind::SymbolicLink, u"it is a symbolic link"},
    {Kind::NoPlainFile, u"it is no plain file"},
    {Kind::HasOtherName, u"the file has another name, too"},
    {Kind::OfSomebodyElse, u"it belongs to somebody else"},
    {Kind::NoNumberFrom, u"%1 \"%2\" is no number from %3 on."},
    {Kind::NoNumberBetween, u"%1 \"%2\" is no number from %3 to %4."},
    {Kind::NoTruth, u"%1 \"%2\" is neither true nor false."},
    {Kind::NoRate,
     u"%1 \"%2\" is no rate. Write bytes a second, as in 500K or 2.5M; 0 is no limit. For some hours of the day: "
     u"2M,500K@08:00-18:00."},
    {Kind::NoHours,
     u"%1 \"%2\" tells no hours of the day. Write them as in 01:00-07:00, 22:00-06:00 or sat-sun@00:00-24:00; several "
     u"with commas between them."},
    {Kind::NoSeconds, u"%1 \"%2\" is no number of seconds from 0 to %3."},
    {Kind::NoChoice, u"%1 \"%2\" is none of %3."},
    {Kind::LineBreak, u"%1 \"%2\" holds a line break. Give one line."},
    {Kind::NoHeader, u"%1 \"…\" is no header. Write it as \"Name: value\"."},
    {Kind::RangeIsOurs,
     u"%1 \"%2: …\" is not to be set: which bytes are asked for follows from what is there. Resume the download "
     u"instead."},
    {Kind::LengthIsOurs, u"%1 \"%2: …\" is not to be set: it follows from what is sent. Leave it out."},
    {Kind::HostIsOfOne, u"%1 \"%2: …\" names one server, and cannot be right for all. Give it for one server alone."},
    {Kind::NoProxy,
     u"%1 \"%2\" is no proxy: %0. Give it as http://HOST:PORT, https://HOST:PORT or socks5://HOST:PORT."},
    {Kind::NoHostAddress,
     u"%1 \"%2\" tells no address of a host. Write HOST:PORT:ADDRESS, as in \"example.com:443:192.0.2.1\"."},
    {Kind::NoFileThere, u"%1 \"%2\" is not there. Give the path of a file that is."},
    {Kind::NoJsonValue, u"\"%1\" is neither a text nor a number nor a truth."},
    {Kind::NoOption, u"\"%1\" is no option here."},
    {Kind::ValueOf, u"%1 %0"},
    {Kind::NoUrl, u"\"%1\" is no URL. Write a whole one, as in \"https://example.com/file.zip\"."},
    {Kind::NoChecksum, u"\"%1\" is no checksum. Write ALGORITHM=HEX, with one of: %2."},
    {Kind::ChecksumOfOtherLength, u"\"%1\" is no %2 checksum: that has %3 hexadecimal digits."},
    {Kind::NamesNoFile, u"\"%1\" names no file. Give a name; the folder can be given apart."},
    {Kind::NameOfDevice,
     u"\"%1\" is a device or a pipe, not a file. Give the name of a file, or have the shell lead standard output "
     u"there."},
    {Kind::NameTooLong, u"\"%1\" is too long: a name has at most %2 bytes. Give a shorter one."},
};

/// Values may hold marks themselves.
QString filled(QStringView text, const Clause &clause)
{
    QString words;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const int number = text[i] == u'%' && i + 1 < text.size() ? text[i + 1].digitValue() : -1;
        if (number < 0) {
            words += text[i];
            continue;
        }
        words += number == 0 ? ClauseWords::of(clause.of.value(0)) : clause.values.value(number - 1);
        ++i;
    }
    return words;
}

}

QString ClauseWords::of(const Clause &clause)
{
    const auto found = std::find_if(std::begin(kWords), std::end(kWords),
                                    [&clause](const Words &words) { return words.kind == clause.kind; });
    if (found == std::end(kWords))
        return {};
    const bool isShort = clause.of.isEmpty() && !found->withoutInner.isEmpty();
    return filled(isShort ? found->withoutInner : found->text, clause);
}

QStringList ClauseWords::of(const QList<Clause> &clauses)
{
    QStringList all;
    for (const Clause &clause : clauses)
        all.append(of(clause));
    return all;
}
