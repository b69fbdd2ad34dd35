// SPDX-License-Identifier: MIT
#include <inet/qt/download/records/abstracterror.h>

#include <QTextStream>

using namespace Qt::StringLiterals;

AbstractError::AbstractError(int errorCode, const std::string &errorCategory, const std::string &errorSource,
                             const std::string &errorDescription)
    : code(errorCode)
    , category(errorCategory)
    , source(errorSource)
    , description(errorDescription)
{
}

bool AbstractError::isSameFailure(const AbstractError &other) const
{
    return code == other.code && (code == 0 || category == other.category);
}

QString AbstractError::toLogText() const
{
    return "{ERROR: |CODE|: "_L1 + QString::number(code) + ", |CATEGORY|: "_L1 + QString::fromStdString(category)
        + ", |SOURCE|: "_L1 + QString::fromStdString(source) + ", |DESCRIPTION|: "_L1
        + QString::fromStdString(description) + '}'_L1;
}

QTextStream &operator<<(QTextStream &stream, const AbstractError &error)
{
    return stream << error.toLogText();
}

AbstractError operationAbortedError(const char *source)
{
    return {int(GenericErrorCode::OperationAborted), ErrorCategory::kGeneric, source, {}};
}

std::string errorSource(const char *file, unsigned line)
{
    return std::string(file) + "," + std::to_string(line);
}
