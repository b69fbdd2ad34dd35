// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/records/exportmacro.h>

#include <QMetaType>
#include <QString>

#include <source_location>
#include <string>

class QTextStream;

/// What went wrong: a value record, copied freely between threads.
/// Code 0 means that nothing did; the three texts are then empty.
struct DOWNLOADFRAMEWORK_EXPORT AbstractError {
    AbstractError() = default;
    AbstractError(int errorCode, const std::string &errorCategory, const std::string &errorSource,
                  const std::string &errorDescription);

    /// True for any code but 0.
    explicit operator bool() const { return code != 0; }

    /// Same failure: same code, and, unless there is none, same category. Where it arose and its wording do not count.
    bool isSameFailure(const AbstractError &other) const;

    /// The form in which every log line reports an error.
    QString toLogText() const;

    int code = 0; ///< meaning depends on the category
    std::string category; ///< one of ErrorCategory
    std::string source; ///< where it arose: file path and line, or the name of an operation
    std::string description; ///< UTF-8, for people; may be empty

    friend bool operator==(const AbstractError &, const AbstractError &) = default;
};
Q_DECLARE_METATYPE(AbstractError)

DOWNLOADFRAMEWORK_EXPORT QTextStream &operator<<(QTextStream &stream, const AbstractError &error);

/// The families of error codes.
namespace ErrorCategory
{
inline constexpr char kGeneric[] = "GenericError"; ///< see GenericErrorCode
inline constexpr char kFile[] = "QtFileError"; ///< QFileDevice::FileError
inline constexpr char kNetwork[] = "QtNetworkError"; ///< QNetworkReply::NetworkError
inline constexpr char kHttp[] = "HttpError"; ///< the HTTP status
inline constexpr char kDownload[] = "AbstractDownloadError"; ///< see DownloadErrorCode
}

/// Codes of the category "GenericError".
enum class GenericErrorCode {
    Unexpected = 1, ///< a run ended without error and without a file
    TooManyRedirects = 2, ///< more redirects than a transfer follows
    OperationAborted = 4, ///< a deliberate stop, never shown as a failure
    NotSupported = 6,
};

/// Codes of the category "AbstractDownloadError".
enum class DownloadErrorCode {
    ResumeNotSupported = 1, ///< a range was asked for and the whole resource came
    ResourceChanged = 2, ///< the resource is no longer the one whose bytes are on disk
};

/// The error of a deliberate stop.
DOWNLOADFRAMEWORK_EXPORT AbstractError operationAbortedError(const char *source);

/// The text of an error's source: path of the file from the root of the tree, a comma, the line.
DOWNLOADFRAMEWORK_EXPORT std::string errorSource(const char *file, unsigned line);

/// The same for the place of the call.
inline std::string errorSourceHere(std::source_location place = std::source_location::current())
{
    return errorSource(place.file_name(), place.line());
}
