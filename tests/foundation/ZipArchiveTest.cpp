#include <gtest/gtest.h>
#include <sys/stat.h>
#include <zip.h>

#include "foundation/clsZipArchive.h"
#include "support/TestSupport.h"

namespace {

namespace fs = std::filesystem;
using Code = clsStatus::Code;
using Strings = std::vector<std::string>;

// An archive as any other tool could make it: names and Unix modes are not checked.
struct RawEntry {
    std::string Name, Data;
    std::uint32_t Mode = S_IFREG | 0644;
};
void WriteRawArchive(const fs::path& file, const std::vector<RawEntry>& entries) {
    int code = 0;
    zip_t* archive = zip_open(file.c_str(), ZIP_CREATE | ZIP_TRUNCATE, &code);
    ASSERT_NE(archive, nullptr);
    for (const RawEntry& entry : entries) {
        zip_source_t* source = zip_source_buffer(archive, entry.Data.data(), entry.Data.size(), 0);
        const zip_int64_t index = zip_file_add(archive, entry.Name.c_str(), source, 0);
        ASSERT_GE(index, 0) << entry.Name;
        zip_file_set_external_attributes(archive, static_cast<zip_uint64_t>(index), 0,
                                         ZIP_OPSYS_UNIX, entry.Mode << 16);
    }
    ASSERT_EQ(zip_close(archive), 0);
}

Strings Listing(const fs::path& folder) {
    Strings names;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        names.push_back(fs::relative(entry.path(), folder).string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string Binary() {
    std::string bytes;
    for (int i = 0; i < 200000; ++i) {
        bytes += static_cast<char>((i * 7919) % 256);
    }
    return bytes;
}

}  // namespace

TEST(ZipArchive, WhatIsWrittenUnpacksByteForByte) {
    clsTempFolder temp;
    const fs::path out = temp.Path() / "out";
    fs::create_directory(out);
    WriteWholeFile(temp.Path() / "Rules.mdb", Binary());
    WriteWholeFile(temp.Path() / "note.txt", "line one\r\nline two\n");
    const clsZipArchive archive(temp.Path() / "rules.zip");
    ASSERT_TRUE(archive
                    .Write({{"Rules.mdb", temp.Path() / "Rules.mdb"},
                            {"notes/note.txt", temp.Path() / "note.txt"}})
                    .IsOk());
    const clsStatus status = archive.ExtractTo(out);
    ASSERT_TRUE(status.IsOk()) << status.Description();
    EXPECT_EQ(Listing(out), (Strings{"Rules.mdb", "notes", "notes/note.txt"}));
    EXPECT_EQ(ReadWholeFile(out / "Rules.mdb"), Binary());
    EXPECT_EQ(ReadWholeFile(out / "notes" / "note.txt"), "line one\r\nline two\n");

    // A second unpacking into the same folder would replace files: refused, and nothing kept.
    EXPECT_FALSE(archive.ExtractTo(out).IsOk());
    EXPECT_EQ(ReadWholeFile(out / "Rules.mdb"), Binary());
}

TEST(ZipArchive, AFailedWriteLeavesTheOldArchiveAndNoTemporaryFile) {
    clsTempFolder temp;
    const fs::path target = temp.Path() / "rules.zip", a = temp.Path() / "a.txt";
    WriteWholeFile(target, "the old archive");
    WriteWholeFile(a, "a");
    using Row = std::pair<std::vector<clsZipArchive::Entry>, Code>;
    for (const auto& [entries, expected] :
         {Row{{{"a.txt", temp.Path() / "missing.txt"}}, Code::NotFound},
          Row{{{"../a.txt", a}}, Code::Invalid}, Row{{{"a.txt", a}, {"a.txt", a}}, Code::Io}}) {
        SCOPED_TRACE(entries.empty() ? std::string("none") : entries.front().Name);
        const clsStatus status = clsZipArchive(target).Write(entries);
        EXPECT_EQ(status.GetCode(), expected) << status.Description();
        EXPECT_EQ(ReadWholeFile(target), "the old archive");
        EXPECT_EQ(Listing(temp.Path()), (Strings{"a.txt", "rules.zip"}));
    }
}

TEST(ZipArchive, HostileEntriesAreRefusedBeforeAnythingIsWritten) {
    using Row = std::pair<std::string, std::uint32_t>;
    for (const auto& [name, mode] :
         {Row{"../evil", S_IFREG | 0644}, Row{"/tmp/evil", S_IFREG | 0644},
          Row{"a/../../evil", S_IFREG | 0644}, Row{"..\\evil", S_IFREG | 0644},
          Row{"link", S_IFLNK | 0777}}) {
        SCOPED_TRACE(name);
        clsTempFolder temp;
        const fs::path out = temp.Path() / "a" / "out";
        fs::create_directories(out);
        WriteRawArchive(temp.Path() / "evil.zip",
                        {{"first.txt", "harmless"}, {name, "/etc/passwd", mode}});
        const clsStatus status = clsZipArchive(temp.Path() / "evil.zip").ExtractTo(out);
        EXPECT_EQ(status.GetCode(), Code::Invalid) << status.Description();
        EXPECT_TRUE(Listing(out).empty());
        EXPECT_EQ(Listing(temp.Path()), (Strings{"a", "a/out", "evil.zip"}));
    }
}

TEST(ZipArchive, ALinkAlreadyInTheFolderIsNeverWrittenThrough) {
    clsTempFolder temp;
    const fs::path out = temp.Path() / "out", elsewhere = temp.Path() / "elsewhere";
    fs::create_directories(elsewhere);
    fs::create_directory(out);
    fs::create_directory_symlink(elsewhere, out / "sub");
    fs::create_symlink(elsewhere / "target", out / "file");
    // A linked folder is named as such; a linked file is an existing file, never replaced.
    for (const auto& [name, expected] :
         {std::pair{"sub/x.txt", Code::Invalid}, std::pair{"file", Code::Io}}) {
        SCOPED_TRACE(name);
        WriteRawArchive(temp.Path() / "a.zip", {{name, "data"}});
        EXPECT_EQ(clsZipArchive(temp.Path() / "a.zip").ExtractTo(out).GetCode(), expected);
        EXPECT_TRUE(fs::is_empty(elsewhere));
    }
}

TEST(ZipArchive, DamagedForeignOrOversizedFilesFailCleanly) {
    clsTempFolder temp;
    WriteWholeFile(temp.Path() / "big.bin", Binary());
    ASSERT_TRUE(clsZipArchive(temp.Path() / "good.zip")
                    .Write({{"big.bin", temp.Path() / "big.bin"}})
                    .IsOk());
    const std::string good = ReadWholeFile(temp.Path() / "good.zip");
    std::string flipped = good;
    for (std::size_t i = 100; i < 200; ++i) {
        flipped[i] = static_cast<char>(~flipped[i]);  // inside the compressed data
    }
    for (const auto& [name, bytes] :
         {std::pair<std::string, std::string>{"truncated", good.substr(0, good.size() / 2)},
          {"damaged", flipped}}) {
        SCOPED_TRACE(name);
        const fs::path out = temp.Path() / name;
        fs::create_directory(out);
        WriteWholeFile(temp.Path() / (name + ".zip"), bytes);
        const clsStatus status = clsZipArchive(temp.Path() / (name + ".zip")).ExtractTo(out);
        EXPECT_EQ(status.GetCode(), Code::Corrupt) << status.Description();
        EXPECT_TRUE(Listing(out).empty());
    }
    // The sum of the unpacked sizes is held to the limit, whatever the entries claim singly.
    WriteRawArchive(temp.Path() / "bomb.zip", {{"a", std::string(600, 'a')}, {"b", "bb"}});
    const fs::path out = temp.Path() / "damaged";
    EXPECT_EQ(clsZipArchive(temp.Path() / "bomb.zip", 601).ExtractTo(out).GetCode(), Code::Corrupt);
    EXPECT_TRUE(Listing(out).empty());
    EXPECT_TRUE(clsZipArchive(temp.Path() / "bomb.zip", 602).ExtractTo(out).IsOk());
}
