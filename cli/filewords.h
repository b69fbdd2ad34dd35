// SPDX-License-Identifier: MIT
#pragma once

#include <host/policy/fileassurance.h>

#include <QString>

/// What is said of a file that is there.
namespace FileWords
{

/// Why nothing proves that it is the server's: "its parts have only a weak validator in common". Empty for None.
QString ofDoubt(Evidence::Doubt doubt);
/// "unproven: its parts have …"; empty where people need no word.
QString ofAssurance(const FileAssurance &assurance);
/// How it came and was saved, as the end of a sentence; empty where there is nothing to say.
QString ofEncoding(const QString &encoding);

}
