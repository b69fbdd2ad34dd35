# SPDX-License-Identifier: MIT
"""The checks that keep data right. Each is taken out in turn; the tests named here have to notice. They are those of the
file's room, where a check does not name another."""

import collections

Check = collections.namedtuple("Check", "what file before after programs room", defaults=(None,))

MODULE = "inet/qt/download/downloadswww/"
RESPONSE = "inet/qt/download/response/"
STORAGE = "host/storage/"
POLICY = "host/policy/"
PARSING = "host/parsing/"
NETWORK = "host/network/"
FRAMEWORK = "inet/qt/download/framework/"
ENGINE = "host/engine/"

HEAD = ("tst_wwwdownloadsection_response", "tst_wwwdownloadsection_identity")
WRITER = ("tst_wwwdownloadsection_writer", "tst_wwwdownloadsection_progress", "tst_wwwdownloadsection_query")
COURSE = ("tst_wwwdownloadsection_lifecycle", "tst_wwwdownload_lifecycle")
DATA = ("tst_wwwdownloader_data", "tst_wwwdownloader_reply")
PARSER = ("tst_httpheadersparser",)
DISK = ("tst_diskcheck",)
SAVING = ("tst_downloadrun",)
GUARD = ("tst_resourceguard",)
IDENTITY = ("tst_resourceidentity",)

CHECKS = (
    # Sizes and offsets.
    Check("an answer's status has to fit the range", MODULE + "wwwdownloadsection_response.cpp",
          "if (status == kNoStatus || status == expected)", "if (true)", HEAD),
    Check("only 206 answers a range", MODULE + "wwwdownloadsection_response.cpp",
          "position == 0 ? kStatusOk : kStatusPartialContent", "position == 0 ? kStatusOk : kStatusOk", HEAD),
    Check("a range is asked for from the first missing byte", MODULE + "wwwdownloader_request.cpp",
          "addRange(request, headers, source.sectionOffset + source.sectionDownloaded)",
          "addRange(request, headers, source.sectionOffset)", ("tst_wwwdownloader_request",)),
    Check("data is written at the first missing byte", MODULE + "wwwdownloadsection_writer.cpp",
          "const qint64 position = m_section.position() + dataStart;",
          "const qint64 position = m_section.offset + dataStart;", WRITER),
    Check("data is written behind what stands before the resource", MODULE + "wwwdownloadsection_writer.cpp",
          "const qint64 position = m_section.position() + dataStart;",
          "const qint64 position = m_section.position() + 0 * dataStart;", WRITER),
    Check("what lies beyond the section is cut off", MODULE + "wwwdownloader_reply.cpp",
          "m_buffer.chop(qMin<qint64>(excess, m_buffer.size()));", ";", DATA),
    Check("what lies beyond the section is not counted", MODULE + "wwwdownloader_reply.cpp",
          "    m_source.sectionDownloaded = length;\n    return false;", "    return false;", DATA),
    Check("more written than the section holds is not counted", MODULE + "wwwdownloadsection_writer.cpp",
          "m_section.downloaded = m_section.size;", ";", WRITER),
    Check("a body shorter than its length is an error", MODULE + "wwwdownloader_reply.cpp",
          "if (!error && isCutShort())", "if (false)", DATA + ("tst_wwwdownloader_wire",)),
    Check("a transfer learns its length from a good end only", MODULE + "wwwdownloader_reply.cpp",
          "if (!error && m_source.sectionLength == -1)", "if (m_source.sectionLength == -1)", DATA),
    Check("a section learns its size from a good end only", MODULE + "wwwdownloadsection.cpp",
          "if (m_section.size == -1 && !m_lastError)", "if (m_section.size == -1)", COURSE),
    Check("a section ends when all is written, not before", MODULE + "wwwdownloadsection_writer.cpp",
          " || !m_downloader->isDataProcessed())", ")", WRITER + COURSE),
    Check("a section is finished when all its bytes are there", MODULE + "wwwdownloadsection.cpp",
          "return !isRunning() && m_section.downloaded == m_section.size;", "return !isRunning();", COURSE),
    Check("a file is given its final name when all its bytes are there", MODULE + "wwwdownload.cpp",
          "if (hasFile() && firstFile().isComplete()) {", "if (hasFile()) {", COURSE),
    Check("the length of a coded body is not the resource's", RESPONSE + "httpheadersparser.cpp",
          "    if (contentEncoding() != kNoEncoding)\n        return -1;\n", "", PARSER),
    # Validators.
    Check("another size is another resource", MODULE + "wwwdownloadsection_response.cpp",
          "if (file.size != size && (size != -1 || file.size != file.bytesDownloaded()))", "if (false)", HEAD),
    Check("no size is another resource than one with a size", MODULE + "wwwdownloadsection_response.cpp",
          "(size != -1 || file.size != file.bytesDownloaded())", "size != -1", HEAD),
    Check("another date is another resource", MODULE + "wwwdownloadsection_response.cpp",
          "return file.lastModified.isValid() && lastModified.isValid() && file.lastModified != lastModified;",
          "return false;", HEAD),
    Check("another ETag is another resource", MODULE + "wwwdownloadsection_response.cpp",
          "    changed = !same;\n", "", HEAD),
    Check("a known resource is looked at again", MODULE + "wwwdownloadsection_response.cpp",
          "if (isKnownResourceChanged(guid, parser)) {", "if (false) {", HEAD),
    Check("a weak ETag identifies nothing", MODULE + "wwwdownloadsection_response.cpp",
          'etag.isEmpty() || etag.startsWith("W/"_L1)', "etag.isEmpty()", HEAD),
    Check("an ETag counts for its own URL", MODULE + "wwwdownloadsection_response.cpp",
          "    if (hashA.compare(hashB, Qt::CaseInsensitive) != 0)\n        return;\n", "", HEAD),
    # What is on disk, and whether it is ours.
    Check("a section lies where the one before it ends", POLICY + "diskcheck.cpp",
          "section.offset != end || ", "", DISK),
    Check("a section holds no more than its size", POLICY + "diskcheck.cpp",
          "section.downloaded <= section.size", "true", DISK),
    Check("sections end where the file ends", POLICY + "diskcheck.cpp", ": end == file.size;", ": true;", DISK),
    Check("what is not on disk is fetched again", POLICY + "diskcheck.cpp",
          "        section.downloaded = held;\n", "", DISK),
    Check("a file that is gone is fetched again", POLICY + "diskcheck.cpp",
          "file.isOnDisk() ? lengthOnDisk >= 0", "file.isOnDisk() ? true", DISK),
    Check("a final name is for whole files", POLICY + "diskcheck.cpp",
          "(!isFinal || file.isComplete())", "true", DISK),
    Check("done is what has its whole length on disk", POLICY + "diskcheck.cpp",
          " && lengthOnDisk == file.dataStart + file.size;", ";", DISK),
    Check("done is what has all its bytes", POLICY + "diskcheck.cpp",
          "return hasFinalName && file.isComplete()", "return hasFinalName", DISK),
    Check("bytes that were moved are not kept", POLICY + "diskcheck.cpp",
          "    if (newer.dataStart != older.dataStart)\n        return false;\n", "", DISK),
    Check("a piece begins where it was asked for", PARSING + "partialanswer.cpp",
          "if (piece->first != *start)", "if (false)", ("tst_partialanswer",)),
    Check("a piece lies within its whole", PARSING + "partialanswer.cpp",
          "return contradictsItself(*piece) ?", "return false ?", ("tst_partialanswer",)),
    Check("a body has the length that was announced", NETWORK + "httptransfer.cpp",
          "    case BodyFraming::End::Length:\n        return m_received == m_plan.length;",
          "    case BodyFraming::End::Length:\n        return true;", ("tst_httptransfer", "tst_transferreply_ending")),
    Check("a renamed file is known by its identity", STORAGE + "renamedfile.cpp",
          " && FileIdentity::of(candidate) == file", "", ("tst_renamedfile",)),
    Check("a file taken back replaces nothing", STORAGE + "renamedfile.cpp",
          "RENAME_NOREPLACE", "0", ("tst_renamedfile",)),
    Check("a number that is given out again is another file", FRAMEWORK + "fileidentity.cpp",
          ".arg(number).arg(birth)", ".arg(number).arg(0)", ("tst_renamedfile",), "host"),
    Check("an abandoned file is empty", STORAGE + "abandonedfile.cpp",
          "file.size() == 0 && ", "", ("tst_abandonedfile",)),
    Check("an abandoned file has the name", STORAGE + "abandonedfile.cpp",
          "isNameOf(file.fileName(), record.files.first().name)", "true", ("tst_abandonedfile",)),
    Check("an abandoned file is not older than its plan", STORAGE + "abandonedfile.cpp",
          "birth >= begin && ", "", ("tst_abandonedfile",)),
    # One resource.
    Check("another file is refused", NETWORK + "resourceguard.cpp",
          "    return {Judgement::Kind::Refused, reason};", "    return {};", GUARD),
    Check("what is refused is told", NETWORK + "resourceguard.cpp",
          "        Q_EMIT refused(reason);\n", "        ;\n", GUARD),
    Check("the whole in place of the rest is not remembered", NETWORK + "resourceguard.cpp",
          "    if (!isWhole)\n", "", GUARD),
    Check("sizes count for all addresses", NETWORK + "resourceguard.cpp",
          "held.total = std::max(held.total, other.identity.total);", ";", GUARD),
    Check("digests count for all addresses", NETWORK + "resourceguard.cpp",
          "held.digest += (held.digest", "(held.digest", GUARD),
    Check("bytes are evidence", NETWORK + "resourceguard.cpp",
          "    m_holdsBytes = true;\n    m_memory.evidence.add(", "    m_holdsBytes = true;\n    Evidence().add(", GUARD),
    Check("another size is another file", POLICY + "resourceidentity.cpp",
          "newer.total >= 0 && total != newer.total", "false", IDENTITY),
    Check("another ETag is another file", POLICY + "resourceidentity.cpp",
          "!newerTag.isEmpty() && tag != newerTag", "false", IDENTITY),
    Check("another digest is another file", POLICY + "resourceidentity.cpp",
          "if (ResourceDigest::areOfDifferentFiles(digest, newer.digest))", "if (false)", IDENTITY),
    Check("another date is another file", POLICY + "resourceidentity.cpp",
          "return isOtherDate(*this, newer) && !isProvedTheSame(*this, newer)", "return false", IDENTITY),
    Check("a doubt stays", POLICY + "evidence.cpp",
          "} else if (doubt == Doubt::None) {", "} else {", ("tst_evidence",)),
    Check("a digest that differs proves nothing", POLICY + "fileassurance.cpp",
          "compared == ChecksumResult::Different || ", "", ("tst_fileassurance",)),
    # Sync before save.
    Check("a save waits for the disk", ENGINE + "downloadrun.cpp",
          "if (!m_list || m_syncFailed || !claimsNewBytes(snapshot)) {", "if (true) {", SAVING),
    Check("a sync reaches the disk", STORAGE + "filesyncer.cpp",
          "return errorOf(::fdatasync(file.number));", "return 0;", ("tst_filesyncer",)),
    Check("a sync of a new name reaches the disk", STORAGE + "filesyncer.cpp",
          "        outcome.error = syncFolder(QFileInfo(path).path());\n", "        ;\n", ("tst_filesyncer",)),
    Check("a name is on disk before it is told", ENGINE + "downloadrun.cpp",
          "m_syncer->sync(snapshot.filePath(0), hasOtherName(snapshot, m_saved));",
          "m_syncer->sync(snapshot.filePath(0), false);", SAVING),
    Check("after a failed sync nothing is claimed", ENGINE + "downloadrun.cpp",
          "    if (m_syncFailed) {\n", "    if (false) {\n", SAVING),
    Check("a chunked body has its end", NETWORK + "httptransfer.cpp",
          "return m_decoder.isAtEnd();", "return true;", ("tst_transferreply",)),
    Check("what is taken back is forgotten for good", ENGINE + "downloadrun.cpp",
          "takesBack(record, m_saved) ? DownloadList::Lasting::Always",
          "false ? DownloadList::Lasting::Always", SAVING),
    Check("a restart forgets before it writes", ENGINE + "downloadrun.cpp",
          "        commit(begun);\n", "        ;\n", SAVING),
)
