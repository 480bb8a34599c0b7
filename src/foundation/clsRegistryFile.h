#pragma once
// clsRegistryFile: one root's registry file on disk. Reads parse the file as it is now; a write
// locks the file (clsRegistryFileLock), re-reads it, applies the change, writes a temporary file in
// the same folder, syncs it and renames it over the original, so a reader sees the old file or the
// new one and two writers never lose each other's change. Created per operation by
// clsRegistryAccess; any thread. Failure: a clsStatus carrying errno; unreadable lines are skipped
// and listed in Problems(), and the first rewrite of such a file first keeps it as "<file>.bad".

#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

#include "foundation/clsRegistryAccess.h"
#include "foundation/clsStatus.h"

class clsRegistryDocument;

class clsRegistryFile {
public:
    clsRegistryFile(std::filesystem::path path, RegistryRoot root)
        : mPath(std::move(path)), mRoot(root) {}

    // Adds the file's keys to document; a file that does not exist reads as empty.
    clsStatus Read(clsRegistryDocument& document);
    // Makes the missing folders, then locks, re-reads and passes the document to change; when
    // change succeeds and the text differs from the file, replaces the file. A failed status from
    // change is returned and nothing is written.
    clsStatus Update(const std::function<clsStatus(clsRegistryDocument&)>& change);
    // The lines the last Read or Update skipped, as a Corrupt status; Ok when there were none.
    const clsStatus& Problems() const { return mProblems; }

    struct clsContents {
        std::string Text;
        mode_t Mode = 0644;  // a new file's mode; an existing file keeps its own
        bool Exists = false;
    };
    // The whole of file; a file that does not exist gives Ok with Exists false.
    static clsStatus ReadText(const std::filesystem::path& file, clsContents& contents);
    // folder and its missing parents; Ok for "" (the working folder).
    static clsStatus MakeFolders(const std::filesystem::path& folder);
    // text into file through a synced temporary file and a rename; file gets the given mode.
    static clsStatus WriteAtomically(const std::filesystem::path& file, std::string_view text,
                                     mode_t mode);
    // "what: strerror" with the errno's number and a matching code (Denied, NotFound, Io...).
    static clsStatus FromErrno(const std::string& what, int error);

private:
    void Load(clsRegistryDocument& document, const std::string& text);
    // The file as it was, before its unreadable lines are dropped by a rewrite.
    clsStatus KeepBadCopy(std::string_view text, mode_t mode);

    std::filesystem::path mPath;
    RegistryRoot mRoot;
    clsStatus mProblems = clsStatus::Ok();
};
