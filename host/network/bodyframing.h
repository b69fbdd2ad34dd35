// SPDX-License-Identifier: MIT
#pragma once

#include <host/network/answerhead.h>

/// Where the body of an answer to a GET or POST ends, and what of its head may not be believed. Pure.
namespace BodyFraming
{

enum class End {
    NoBody, ///< the status has none, whatever the fields say
    Length, ///< behind Plan::length bytes
    Chunked, ///< where the last chunk is
    Close, ///< where the connection closes
};

struct Plan {
    End end = End::Close;
    /// Bytes of the body; -1 = unknown. It must be met whatever the end is: with End::Chunked and End::Close it is
    /// known from the Content-Range of a 206.
    qint64 length = -1;
    bool mayReuse = true; ///< another request may follow on the connection
    /// Lower case names of fields that mean nothing in this answer and are not handed on.
    QList<QByteArray> withheld;
    QString complaint; ///< why the answer cannot be read, as a sentence; empty = it can. Nothing else counts beside it
    bool mayRestFollow = false; ///< it is a piece of a whole whose size nobody says: behind it there may be more
};

/// @param head a complete one
/// @param range value of the request's Range field; empty = none was asked for
Plan planFor(const AnswerHead &head, const QByteArray &range);

/// What a reader gets to see: fields of one name joined, the withheld ones left out, a length or range that was sent
/// several times there once.
QList<AnswerHead::Field> handedOn(const AnswerHead &head, const Plan &plan);

}
