#include <gtest/gtest.h>
#include <sys/stat.h>
#include <zip.h>

#include "foundation/clsZipArchive.h"
#include "support/TestSupport.h"

namespace {

using Code = clsStatus::Code;

void WriteFile(const std::filesystem::path& file, const std::string& text) {
    std::ofstream(file, std::ios::binary) << text;
}

// An archive as any other tool could make it: names and Unix modes are not checked.
struct RawEntry {
    std::string Name, Data;
    std::uint32_t Mode = S_IFREG | 0644;
};
void WriteRawArchive(const std::filesystem::path& file, const std::vector<RawEntry>& entries) {
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

std::vector<std::string> Listing(const std::filesystem::path& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        names.push_back(std::filesystem::relative(entry.path(), folder).string());
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
    const std::filesystem::path out = temp.Path() / "out";
    std::filesystem::create_directory(out);
    WriteFile(temp.Path() / "Rules.mdb", Binary());
    WriteFile(temp.Path() / "note.txt", "line one\r\nline two\n");
    const clsZipArchive archive(temp.Path() / "rules.zip");
    ASSERT_TRUE(archive
                    .Write({{"Rules.mdb", temp.Path() / "Rules.mdb"},
                            {"notes/note.txt", temp.Path() / "note.txt"}})
                    .IsOk());
    const clsStatus status = archive.ExtractTo(out);
    ASSERT_TRUE(status.IsOk()) << status.Description();
    EXPECT_EQ(Listing(out), (std::vector<std::string>{"Rules.mdb", "notes", "notes/note.txt"}));
    EXPECT_EQ(ReadWholeFile(out / "Rules.mdb"), Binary());
    EXPECT_EQ(ReadWholeFile(out / "notes" / "note.txt"), "line one\r\nline two\n");
    EXPECT_LT(std::filesystem::file_size(temp.Path() / "rules.zip"), 200000u);  // compressed

    // A second unpacking into the same folder would replace files: refused, and nothing kept.
    EXPECT_FALSE(archive.ExtractTo(out).IsOk());
    EXPECT_EQ(ReadWholeFile(out / "Rules.mdb"), Binary());
}

TEST(ZipArchive, AFailedWriteLeavesTheOldArchiveAndNoTemporaryFile) {
    clsTempFolder temp;
    const std::filesystem::path target = temp.Path() / "rules.zip";
    WriteFile(target, "the old archive");
    WriteFile(temp.Path() / "a.txt", "a");
    struct Case {
        std::vector<clsZipArchive::Entry> Entries;
        Code Expected;
    };
    for (const Case& c :
         {Case{{{"a.txt", temp.Path() / "missing.txt"}}, Code::NotFound},
          Case{{{"../a.txt", temp.Path() / "a.txt"}}, Code::Invalid},
          Case{{{"a.txt", temp.Path()}}, Code::NotFound},
          Case{{{"a.txt", temp.Path() / "a.txt"}, {"a.txt", temp.Path() / "a.txt"}}, Code::Io},
          Case{{}, Code::Invalid}}) {
        SCOPED_TRACE(c.Entries.empty() ? std::string("none") : c.Entries.front().Name);
        const clsStatus status = clsZipArchive(target).Write(c.Entries);
        EXPECT_EQ(status.GetCode(), c.Expected) << status.Description();
        EXPECT_EQ(ReadWholeFile(target), "the old archive");
        EXPECT_EQ(Listing(temp.Path()), (std::vector<std::string>{"a.txt", "rules.zip"}));
    }
    EXPECT_FALSE(clsZipArchive(temp.Path() / "no" / "such" / "folder.zip")
                     .Write({{"a.txt", temp.Path() / "a.txt"}})
                     .IsOk());
}

TEST(ZipArchive, HostileEntriesAreRefusedBeforeAnythingIsWritten) {
    struct Case {
        std::string Name;
        std::uint32_t Mode;
    };
    for (const Case& c : {Case{"../evil", S_IFREG | 0644}, Case{"/tmp/evil", S_IFREG | 0644},
                          Case{"a/../../evil", S_IFREG | 0644}, Case{"..\\evil", S_IFREG | 0644},
                          Case{"C:evil", S_IFREG | 0644}, Case{"link", S_IFLNK | 0777},
                          Case{"fifo", S_IFIFO | 0644}}) {
        SCOPED_TRACE(c.Name);
        clsTempFolder temp;
        const std::filesystem::path out = temp.Path() / "a" / "out";
        std::filesystem::create_directories(out);
        WriteRawArchive(temp.Path() / "evil.zip",
                        {{"first.txt", "harmless"}, {c.Name, "/etc/passwd", c.Mode}});
        const clsStatus status = clsZipArchive(temp.Path() / "evil.zip").ExtractTo(out);
        EXPECT_EQ(status.GetCode(), Code::Invalid) << status.Description();
        EXPECT_TRUE(Listing(out).empty());
        EXPECT_EQ(Listing(temp.Path()), (std::vector<std::string>{"a", "a/out", "evil.zip"}));
    }
}

TEST(ZipArchive, ALinkAlreadyInTheFolderIsNeverWrittenThrough) {
    clsTempFolder temp;
    const std::filesystem::path out = temp.Path() / "out";
    std::filesystem::create_directories(temp.Path() / "elsewhere");
    std::filesystem::create_directory(out);
    std::filesystem::create_directory_symlink(temp.Path() / "elsewhere", out / "sub");
    std::filesystem::create_symlink(temp.Path() / "elsewhere" / "target", out / "file");
    // A linked folder is named as such; a linked file is an existing file, never replaced.
    struct Case {
        std::string Name;
        Code Expected;
    };
    for (const Case& c : {Case{"sub/x.txt", Code::Invalid}, Case{"file", Code::Io}}) {
        SCOPED_TRACE(c.Name);
        WriteRawArchive(temp.Path() / "a.zip", {{c.Name, "data"}});
        EXPECT_EQ(clsZipArchive(temp.Path() / "a.zip").ExtractTo(out).GetCode(), c.Expected);
        EXPECT_TRUE(std::filesystem::is_empty(temp.Path() / "elsewhere"));
    }
}

TEST(ZipArchive, DamagedForeignOrOversizedFilesFailCleanly) {
    clsTempFolder temp;
    WriteFile(temp.Path() / "big.bin", Binary());
    ASSERT_TRUE(clsZipArchive(temp.Path() / "good.zip")
                    .Write({{"big.bin", temp.Path() / "big.bin"}})
                    .IsOk());
    const std::string good = ReadWholeFile(temp.Path() / "good.zip");
    std::string flipped = good;
    for (std::size_t i = 100; i < 200; ++i) {
        flipped[i] = static_cast<char>(~flipped[i]);  // inside the compressed data
    }
    struct Case {
        std::string Name, Bytes;
    };
    for (const Case& c : {Case{"truncated", good.substr(0, good.size() / 2)},
                          Case{"garbage", std::string(4096, 'x')}, Case{"damaged", flipped}}) {
        SCOPED_TRACE(c.Name);
        const std::filesystem::path out = temp.Path() / c.Name;
        std::filesystem::create_directory(out);
        WriteFile(temp.Path() / (c.Name + ".zip"), c.Bytes);
        const clsStatus status = clsZipArchive(temp.Path() / (c.Name + ".zip")).ExtractTo(out);
        EXPECT_EQ(status.GetCode(), Code::Corrupt) << status.Description();
        EXPECT_TRUE(Listing(out).empty());
    }
    EXPECT_EQ(clsZipArchive(temp.Path() / "missing.zip").ExtractTo(temp.Path()).GetCode(),
              Code::NotFound);
    // The sum of the unpacked sizes is held to the limit, whatever the entries claim singly.
    WriteRawArchive(temp.Path() / "bomb.zip", {{"a", std::string(600, 'a')}, {"b", "bb"}});
    EXPECT_EQ(
        clsZipArchive(temp.Path() / "bomb.zip", 601).ExtractTo(temp.Path() / "damaged").GetCode(),
        Code::Corrupt);
    EXPECT_TRUE(Listing(temp.Path() / "damaged").empty());
    EXPECT_TRUE(
        clsZipArchive(temp.Path() / "bomb.zip", 602).ExtractTo(temp.Path() / "damaged").IsOk());
}
