// SPDX-License-Identifier: MIT
#pragma once

#include <host/parsing/clause.h>
#include <inet/qt/download/records/abstractdownloadpersistentinfo.h>
#include <inet/qt/download/records/abstracterror.h>

#include <QJsonObject>
#include <QList>
#include <QMetaType>
#include <QString>
#include <QUrl>

/// What did not work, or not as expected, as data: front ends make words, exit numbers and buttons of it. Made where it
/// arises and carried up unchanged. A value; the default one says that nothing failed.
struct Failure {
    enum class Kind {
        None,
        Unknown, ///< a run ended without a file, and nobody said why
        // Of the transfer.
        TimedOut,
        NothingCame, ///< the watchdog ended it: nothing happened for too long, or nothing new
        NotFound,
        NetworkFailed,
        HostNotFound,
        BadAnswer,
        TooManyRedirects,
        ServerOverloaded,
        LoginRequired, ///< detail: who asks for which login; empty = the subject's host, for a name and a password
        LoginRefused, ///< one was given, and the server does not take it; detail: who, and whose
        ProxyLoginRequired, ///< as LoginRequired, by the proxy
        ProxyLoginRefused, ///< as LoginRefused, by the proxy
        ProxyFailed, ///< it cannot be reached, or lets nobody through; detail: names it
        ProxyNotFound, ///< its host has no address; the same
        CertificateRefused,
        ProxyCertificateRefused, ///< detail: names the proxy, too
        EncryptionFailed, ///< no encrypted connection could be agreed on; detail: with whom
        UnsupportedUrl, ///< no module serves it
        // Of the file that is on the server.
        CannotResume,
        ResourceChanged,
        CannotTakeOver, ///< a file that nobody here has begun; detail: why not. It stays as it is
        ChecksumDiffers, ///< detail: both of them; empty = as the list has it, which keeps neither
        DigestDiffers, ///< the same, with the server's own
        ChecksumNotFound, ///< in the list (subject.url) where it was to be looked for; detail: why not
        ChecksumUnusable, ///< what the file is to be compared with makes no sense
        // Of the file that is here.
        DiskFull,
        NoRoom, ///< known before anything was fetched
        NameTaken, ///< detail: by what
        CannotCreateFile,
        FileFailed,
        CannotReadFile, ///< for its checksum
        FileShorter, ///< than what was downloaded; the rest is fetched again
        FileMissing, ///< or another; all of it is fetched again
        NotOnDisk, ///< nobody knows whether the disk has what was written
        Skipped, ///< a file that is there is as good as a download; nothing failed
        // Of what was asked for.
        Stopped,
        StoppedBeforeComparing, ///< the file is whole, and not compared with its checksum
        NoSuchDownload,
        WrongState, ///< makes no sense for the download as it is now; detail: how that is
        CannotBegin, ///< detail: why not
        OwnedByOther, ///< another process is at work on it; number: which, 0 = it has been, and is done
        CannotChange, ///< detail: why not
        ValueUnusable, ///< of a limit or an option; detail: a sentence that names it
        CannotDeleteFile, ///< and so the download stays in the list; detail: which one, and why not
        CannotFinish, ///< now, with what is there; detail: why not
        SameResource, ///< subject: another download, of what this one is of; nothing failed
        TakenOver, ///< such a file, of which the rest is fetched; detail: how much is there; nothing failed
        FoundWhole, ///< such a file, of which nothing is missing; nothing failed
        ChecksumFound, ///< in a list beside the file (subject.url); detail: of which kind; nothing failed
        NoChecksumFound, ///< beside the file; detail: why nobody knows whether one is there (subject.url); empty = none
                         ///< is
        NothingToCompare, ///< of a check; detail: why not
        // Of what everything stands on.
        CannotOpenList, ///< of downloads; detail: why not
        CannotReadList, ///< all of it or a part; detail: why not
        CannotChangeList, ///< detail: why not; nothing of the change is in it
        CannotRepairList, ///< detail: why not
        ListDamaged, ///< it was set aside (subject.keptAs), and a new one begun; detail: what was wrong, may be empty
        ListInMemory, ///< it goes with the process; detail: why it is not in its place
        NoModule, ///< at all; detail: the folders that were looked into, in quotes
        ModuleUnusable, ///< subject.path: its file; detail: why
        ProxyUnusable, ///< subject.title: as it was given, without a login; detail: why
        CertificatesUnusable, ///< subject.path: their file; detail: why
        ClientCertificateUnusable, ///< or its key; the same
        InterfaceUnusable, ///< of this machine; subject.title: as it was given; detail: why
        CookiesUnusable, ///< subject.path: their file; detail: why
        LoginsUnusable, ///< the same
        LoginsExposed, ///< other users of the machine can get at those of the file
    };

    /// What may help. The first of several is the best.
    enum class Remedy {
        AsDetailSays, ///< the detail is whole sentences, which name the subject and the way out themselves
        TryAgain,
        TryLater,
        Resume,
        Restart,
        CheckAddress,
        OtherScheme, ///< the port may speak https where http was asked for, or the other way round
        OpenInBrowser,
        OtherServer,
        CheckNetwork,
        CheckProxy,
        CheckClock, ///< of this machine
        GiveLogin,
        GiveProxyLogin,
        GiveHeader, ///< the login is of a kind that can only be given as a header
        NameAuthority, ///< of the certificate
        AllowInsecure,
        MakeRoom,
        OtherFolder,
        OtherName,
        CheckDisk,
        StopFirst,
        Remove,
        OneConnection, ///< resume over a single one
        SeeList,
        RepairList,
        OtherList,
        MoveAway, ///< what lies in the subject's place
        NewerProgram, ///< the one that wrote it
        Reinstall,
        ReadLog,
    };

    /// What it happened to, as far as that is known; the rest is empty.
    struct Subject {
        qint64 id = 0; ///< of the list; 0 = none
        QUrl url; ///< without a password
        QString title; ///< of the download, for people
        QString path; ///< of its file, or of the list; empty = there is no name yet
        QString folder;
        QString host; ///< that was spoken to
        QString keptAs = {}; ///< path that it has by now; empty = it was not moved

        static Subject of(const AbstractDownloadPersistentInfo &info);
        static Subject of(qint64 id);

        friend bool operator==(const Subject &, const Subject &) = default;
    };

    /// One of several addresses, and why it did not do.
    struct Address {
        QUrl url;
        Clause reason;

        friend bool operator==(const Address &, const Address &) = default;
    };

    /// Of the disk, where that was too small; bytes, -1 = nobody knows.
    struct Room {
        qint64 needed = -1; ///< beyond what the file takes already
        qint64 available = -1;

        friend bool operator==(const Room &, const Room &) = default;
    };

    Kind kind = Kind::None;
    Subject subject = {};
    QString detail = {}; ///< the cause: a clause in the words of whoever told it, without a full stop; may be empty
    int number = 0; ///< the HTTP status, the system's error number, or what the kind says; 0 = none
    QList<Remedy> remedies = {};
    QList<Address> addresses = {}; ///< of a download that has several, and failed with all of them
    Room room = {}; ///< of DiskFull and NoRoom
    Clause cause = {}; ///< the same as data, where nobody else told it; then the detail is empty
    int secondsLeft = 0; ///< of OwnedByOther: until it is free, if that process is none any more; 0 = it is seen to be

    /// Something failed, or was not done.
    explicit operator bool() const { return kind != Kind::None; }

    /// With the remedies that the kind has.
    static Failure make(Kind kind, const Subject &subject, const Clause &cause = {}, int number = 0);
    /// Of what was told in whole sentences.
    static Failure told(Kind kind, const Subject &subject, const QString &sentences);
    /// Of a download's run that ended with this error and left this record. Without an error: none when it is finished.
    static Failure of(const AbstractError &error, const AbstractDownloadPersistentInfo &info);

    /// The cause for logs and tests: as it was told, or as Clause::plain() has it.
    QString plain() const;
    /// What is empty is left out.
    QJsonObject toJson() const;
    /// Names that a later version knows are Unknown as kinds, and left out as remedies.
    static Failure fromJson(const QJsonObject &object);
    /// The kind as one word for programs.
    static QString keyOf(Kind kind);

    friend bool operator==(const Failure &, const Failure &) = default;
};
Q_DECLARE_METATYPE(Failure)
