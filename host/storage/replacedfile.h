// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/framework/fileidentity.h>
#include <inet/qt/download/records/abstractdownloadpersistentinfo.h>

#include <QStringList>

#include <optional>

/// The file of a finished download that is to be fetched anew, or an empty file that is to be filled. It stays until
/// the new one is whole and takes its place by a rename, so that whatever becomes of that one, the person has either.
///
/// The record says so while it is unfinished: who takes it up after a crash knows the file by what it is. Nothing else
/// that stands there is ever replaced.
namespace ReplacedFile
{

/// Makes the finished record one that begins anew beside its file, under the name that this has. What was to become of
/// files in the way is remembered, and holds for all others.
/// @param file what the list says of the download's file
/// @param isUnwanted it goes for any new one that is whole
void plan(AbstractDownloadPersistentInfo &record, const FileIdentity &file, bool isUnwanted);

/// Gives a new record the empty file of that path for the one whose place it takes, as long as nothing is written to
/// it.
void planEmpty(AbstractDownloadPersistentInfo &record, const QString &path);

/// What is to become of files in the way from now on. Of the one that is to be replaced it was said before, and still
/// holds.
void setReaction(AbstractDownloadPersistentInfo &record, AbstractDownloadExistingFileReaction reaction);

bool isPlanned(const AbstractDownloadPersistentInfo &record);

/// Of the file of a download that is to be fetched anew, as long as it is there; empty = there is none, or it was not
/// this download that made it.
QString pathOf(const AbstractDownloadPersistentInfo &record);

/// What is to be done about files in the way; nothing = a person has to say, as for any other download.
/// @param mayReplace the new file counts as soon as it is whole, also in place of one that may be the right one
std::optional<AbstractDownloadFileExistsAction> answer(const AbstractDownloadPersistentInfo &record,
                                                       const QStringList &inTheWay, bool mayReplace);

}
