// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QUrl>

/// What is said of addresses that nothing here fetches: what they are, and what to give in their place. Pure.
namespace SchemeWords
{

/// Sentences, which begin with the address in quotes. A login in it is left out.
QString ofUnserved(const QUrl &url);

/// Why what was typed is no address of a file; empty = it is one, or its scheme is for modules to judge.
QString problemOf(const QString &typed);

}
