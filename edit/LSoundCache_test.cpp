#include "edit/LSoundCache.h"

#include "base/LFile.h"

#include "base/LOutputStreamByteArray.h"
#include "edit/LSoundCacheCleanup.h"
#include "edit/LSoundCacheItemAdd.h"
#include "edit/LSoundCacheItemAnalyzerManager.h"
#include "edit/LSoundCacheItemInfo.h"
#include "edit/LSoundCacheSink.h"
#include "edit/LSoundCacheSource.h"
#include "edit/testing/SoundCacheFixture.h"
#include "sdf/LSDFWriter.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>

#include <cstring>
#include <ctime>
#include <atomic>
#include <set>
#include <thread>

namespace {

class RecordingProcess : public LProcessInterfaceVoid {
public:
    void SetError(const char* text) override { error = text; }
    std::string error;
};

class LSoundCacheTest : public SoundCacheTest {
protected:
    // Imports `frames` of stereo audio as if decoded from `path`.
    uint16_t Import(const std::string& path, long long frames = 1000) {
        LProcessInterfaceVoid process;
        uint16_t item = kSoundCacheItemNone;
        long long length = 0;
        EXPECT_EQ(LSoundCacheImport(process, path, LSoundSource(new MemorySource(Ramp(frames, 2), 44100, 2)), false,
                                    &item, &length),
                  LProcessOK);
        EXPECT_EQ(length, frames);
        return item;
    }
    // A stand-in for an original audio file, with a chosen modification time.
    std::string Original(const char* name, size_t bytes = 100, time_t mtime = 1600000000) {
        const std::string path = dir_.File(std::string("../") + name);
        originals_.push_back(path);
        kvtest::WriteFileBytes(path, std::vector<uint8_t>(bytes, 1));
        struct timeval times[2] = {{mtime, 0}, {mtime, 0}};
        ::utimes(path.c_str(), times);
        return path;
    }
    // A finished item made straight through the sink, no original file.
    uint16_t EditItem() {
        const uint16_t n = Cache().ItemCreateNewAndIncRef();
        {
            LSoundCacheSink sink(n, 44100, 1);
            std::vector<float> data(10, 0.25f);
            sink.Write(data.data(), 10);
        }
        return n;
    }
    void SetAccessTime(uint16_t n, int32_t seconds) {
        LOutputStreamByteArray out;
        LSDFWriter w;
        w.Open(out, 44, 1);
        w.WriteInt(84, seconds);
        ASSERT_TRUE(w.Close());
        ASSERT_TRUE(LSoundCacheItemInfoUpdate(n, out.Data().data(), out.Data().size(), false));
    }
    std::vector<uint16_t> RootIds(uint16_t n) {
        // Walks the raw bytes: header 12, root header 12, then chunks.
        const auto bytes = kvtest::ReadFileBytes(ItemFile(n, ".audinfo"));
        std::vector<uint16_t> ids;
        size_t at = 24;
        while (at + 12 <= bytes.size() - 4) {
            ids.push_back(static_cast<uint16_t>(bytes[at] | (bytes[at + 1] << 8)));
            uint64_t length = 0;
            for (int i = 7; i >= 0; --i) length = (length << 8) | bytes[at + 4 + i];
            at += 12 + length;
        }
        return ids;
    }
    ~LSoundCacheTest() override {
        for (const std::string& path : originals_) ::unlink(path.c_str());
    }
    std::vector<std::string> originals_;
};

TEST_F(LSoundCacheTest, SpecialNumbersTouchNoFile) {
    Touch(dir_.File("65535.aud"));
    Touch(dir_.File("65534.aud"));
    Cache().IncRef(kSoundCacheItemSilence);
    Cache().DecRef(kSoundCacheItemSilence);
    Cache().IncRef(kSoundCacheItemNone);
    Cache().DecRef(kSoundCacheItemNone);
    EXPECT_TRUE(Exists(dir_.File("65535.aud")));
    EXPECT_TRUE(Exists(dir_.File("65534.aud")));
    EXPECT_EQ(Cache().GetFilePath(kSoundCacheItemSilence, ".aud"), "");
    EXPECT_EQ(Cache().GetRefCount(kSoundCacheItemSilence), 0);
}

TEST_F(LSoundCacheTest, CountAtCeilingSticks) {
    const uint16_t n = EditItem();
    for (int i = 0; i < 70000; ++i) Cache().IncRef(n);
    EXPECT_EQ(Cache().GetRefCount(n), 65534);
    for (int i = 0; i < 70000; ++i) Cache().DecRef(n);
    EXPECT_EQ(Cache().GetRefCount(n), 65534);
    EXPECT_TRUE(LSoundCacheItemIsValid(n));
}

TEST_F(LSoundCacheTest, LastReleaseDeletesEditItemAtOnce) {
    const uint16_t n = EditItem();
    Cache().IncRef(n);
    Cache().DecRef(n);
    EXPECT_TRUE(LSoundCacheItemIsValid(n));
    Touch(ItemFile(n, ".fft"));
    Touch(ItemFile(n, ".orvmp3"));
    Cache().DecRef(n);
    for (const char* ext : LSoundCache::kExtensions) EXPECT_FALSE(Exists(ItemFile(n, ext))) << ext;
    EXPECT_FALSE(Cache().IsKnown(n));
    EXPECT_EQ(Cache().ItemNumberGetNextAvailable(), n);
}

TEST_F(LSoundCacheTest, LastReleaseKeepsImportOfUnchangedFileOnly) {
    const std::string same = Original("same.wav");
    const std::string changed = Original("changed.wav");
    const std::string gone = Original("gone.wav");
    const uint16_t a = Import(same), b = Import(changed), c = Import(gone);
    EXPECT_EQ(RootIds(a), (std::vector<uint16_t>{16, 17, 80, 84}));

    Original("changed.wav", 101);  // size differs
    ::unlink(gone.c_str());
    Cache().DecRef(a);
    Cache().DecRef(b);
    Cache().DecRef(c);
    EXPECT_TRUE(LSoundCacheItemIsValid(a));
    EXPECT_TRUE(Cache().IsKnown(a));  // its number is not handed out again
    EXPECT_FALSE(Exists(ItemFile(b, ".aud")));
    EXPECT_FALSE(Exists(ItemFile(c, ".audinfo")));

    // Reopening the unchanged file finds the item; a changed time doesn't.
    struct stat st;
    ASSERT_EQ(::stat(same.c_str(), &st), 0);
    const int32_t ns = static_cast<int32_t>(st.st_mtim.tv_nsec);  // the import keeps it as the tag
    EXPECT_EQ(LSoundCacheItemOriginalFileDetailsMatch(same, st.st_mtime, st.st_size, ns), a);
    // Names that differ in case are other files on this system.
    std::string upper = same;
    for (char& ch : upper) ch = static_cast<char>(std::toupper(static_cast<unsigned char>(ch)));
    EXPECT_EQ(LSoundCacheItemOriginalFileDetailsMatch(upper, st.st_mtime, st.st_size, ns), kSoundCacheItemNone);
    EXPECT_EQ(LSoundCacheItemOriginalFileDetailsMatch(same, st.st_mtime + 1, st.st_size, ns), kSoundCacheItemNone);
    EXPECT_EQ(LSoundCacheItemOriginalFileDetailsMatch(same, st.st_mtime, st.st_size, ns + 1), kSoundCacheItemNone);
    Original("same.wav", 100, 1600000005);
    EXPECT_EQ(LSoundCacheItemOriginalFileDetailsMatch(same, st.st_mtime, st.st_size, ns), kSoundCacheItemNone);
}

TEST_F(LSoundCacheTest, ScanProtectsItemsOfEarlierSession) {
    Touch(dir_.File("0.aud"));
    Touch(dir_.File("2.aud"));
    Touch(dir_.File("notanumber.aud"));
    EXPECT_EQ(Cache().ItemNumberGetNextAvailable(), 1);
    EXPECT_TRUE(Cache().IsKnown(0));
    EXPECT_TRUE(Cache().IsKnown(2));
    EXPECT_EQ(Cache().ItemCreateNewAndIncRef(), 1);
    EXPECT_EQ(Cache().ItemCreateNewAndIncRef(), 3);
    // A file that appears after the scan (another instance) is not
    // overwritten either: the exclusive create moves on.
    Touch(dir_.File("4.aud"));
    kvtest::WriteFileBytes(dir_.File("4.aud"), {1, 2, 3, 4});
    EXPECT_EQ(Cache().ItemCreateNewAndIncRef(), 5);
    EXPECT_EQ(kvtest::ReadFileBytes(dir_.File("4.aud")).size(), 4u);
    EXPECT_TRUE(Cache().IsKnown(4));
}

TEST_F(LSoundCacheTest, ScanRecordsAnalysisChunks) {
    const std::vector<uint8_t> info = [] {
        LOutputStreamByteArray out;
        LSDFWriter w;
        w.Open(out, 43, 1);
        w.WriteInt(16, 44100);
        w.WriteInt(17, 1);
        w.WriteBlob(48, "x", 1);
        w.WriteBlob(112, "y", 1);
        w.Close();
        return out.TakeData();
    }();
    kvtest::WriteFileBytes(dir_.File("9.audinfo"), info);
    Touch(dir_.File("9.aud"));
    Cache().ItemNumberGetNextAvailable();
    EXPECT_EQ(LSoundCacheItemAnalyzerManager::Instance().GetItemFlags(9), 4u | 32u);
}

TEST_F(LSoundCacheTest, SetCacheFolderClearsCountsAndRescans) {
    const uint16_t n = EditItem();
    kvtest::TempDir other;
    Touch(other.File("0.aud"));
    Cache().SetCacheFolder(other.Path());
    EXPECT_EQ(Cache().GetRefCount(n), 0);
    EXPECT_EQ(Cache().ItemNumberGetNextAvailable(), 1);
}

TEST_F(LSoundCacheTest, CleanupModeTwoWithLittleSpaceDeletesAllUnused) {
    const uint16_t recent = Import(Original("recent.wav"));
    Cache().DecRef(recent);  // kept: a reusable import
    const uint16_t inUse = EditItem();
    ASSERT_TRUE(LSoundCacheItemIsValid(recent));
    Cache().SetFreeSpaceFunctionForTesting([](const std::string&) { return int64_t{1500} * 1048576; });
    LSoundCacheCleanup(2);
    EXPECT_FALSE(Exists(ItemFile(recent, ".aud")));
    EXPECT_FALSE(Exists(ItemFile(recent, ".audinfo")));
    EXPECT_TRUE(LSoundCacheItemIsValid(inUse));
}

TEST_F(LSoundCacheTest, CleanupByAgeAndFreeSpace) {
    const long now = static_cast<long>(::time(nullptr));
    const uint16_t old = Import(Original("old.wav"));
    const uint16_t fresh = Import(Original("fresh.wav"));
    const uint16_t noAccess = Import(Original("none.wav"));
    Cache().DecRef(old);
    Cache().DecRef(fresh);
    Cache().DecRef(noAccess);
    SetAccessTime(old, static_cast<int32_t>(now - 2 * 86400));
    SetAccessTime(fresh, static_cast<int32_t>(now - 600));
    // An information file without chunk 84.
    kvtest::WriteFileBytes(ItemFile(noAccess, ".audinfo"), LSoundCacheItemInfoCreate(44100, 2));

    // Plenty of space: nothing is four weeks old.
    Cache().SetFreeSpaceFunctionForTesting([](const std::string&) { return int64_t{200000} * 1048576; });
    LSoundCacheCleanup(2);
    EXPECT_TRUE(LSoundCacheItemIsValid(old));
    // 5000 MB: a day.
    Cache().SetFreeSpaceFunctionForTesting([](const std::string&) { return int64_t{5000} * 1048576; });
    LSoundCacheCleanup(2);
    EXPECT_FALSE(LSoundCacheItemIsValid(old));
    EXPECT_TRUE(LSoundCacheItemIsValid(fresh));
    // Mode 3 at 6000 MB: two weeks.
    Cache().SetFreeSpaceFunctionForTesting([](const std::string&) { return int64_t{6000} * 1048576; });
    LSoundCacheCleanup(3);
    EXPECT_TRUE(LSoundCacheItemIsValid(fresh));
    // ItemsDelete in the future takes all with chunk 84, but not the one without.
    Cache().ItemsDelete(now + 100000);
    EXPECT_FALSE(LSoundCacheItemIsValid(fresh));
    EXPECT_TRUE(LSoundCacheItemIsValid(noAccess));
    // Mode 4 takes everything unused.
    LSoundCacheCleanup(4);
    EXPECT_FALSE(LSoundCacheItemIsValid(noAccess));
}

TEST_F(LSoundCacheTest, CleanupDeletesUnusedItemsMissingAFile) {
    const uint16_t broken = Import(Original("broken.wav"));
    Cache().DecRef(broken);
    const uint16_t live = EditItem();
    ::unlink(ItemFile(broken, ".grf").c_str());
    ::unlink(ItemFile(live, ".grf").c_str());
    LSoundCacheCleanup(0);
    EXPECT_FALSE(Exists(ItemFile(broken, ".aud")));
    EXPECT_TRUE(Exists(ItemFile(live, ".aud")));  // still referenced
}

TEST_F(LSoundCacheTest, DiskFullMessageAndNothingWritten) {
    Cache().SetFreeSpaceFunctionForTesting([](const std::string&) { return int64_t{50} * 1048576; });
    RecordingProcess process;
    uint16_t item = 0;
    long long length = 0;
    const long long frames = 1048576 / 8;  // 1 MiB of stereo floats
    EXPECT_EQ(LSoundCacheImport(process, "", LSoundSource(new MemorySource(Ramp(frames, 2), 44100, 2)), false, &item,
                                &length),
              LProcessFailed);
    char expected[512];
    std::snprintf(expected, sizeof expected,
                  "Unzureichender Festplattenspeicher, um Audio zu speichern. Kelvane benötigt 101.00 MB freien "
                  "Speicher auf dem \"%s\", um die Datei zu laden (50.00 MB verfügbar).",
                  Cache().GetVolumeName().c_str());
    EXPECT_EQ(process.error, expected);
    EXPECT_EQ(item, kSoundCacheItemNone);
    std::string listing;
    kvtest::RunCommand("ls -A " + kvtest::ShellQuote(dir_.Path()), &listing);
    EXPECT_EQ(listing, "");
}

TEST_F(LSoundCacheTest, VolumeNameIsAMountPoint) {
    const std::string volume = Cache().GetVolumeName();
    ASSERT_FALSE(volume.empty());
    EXPECT_EQ(volume[0], '/');
    std::string mounts;
    kvtest::RunCommand("cut -d' ' -f5 /proc/self/mountinfo", &mounts);
    EXPECT_NE(("\n" + mounts).find("\n" + volume + "\n"), std::string::npos) << volume;
}

TEST_F(LSoundCacheTest, CorruptAudInfoGivesLengthZeroAndIsDeleted) {
    const uint16_t n = Import(Original("corrupt.wav"));
    auto bytes = kvtest::ReadFileBytes(ItemFile(n, ".audinfo"));
    bytes[8] ^= 0xFF;  // file type
    kvtest::WriteFileBytes(ItemFile(n, ".audinfo"), bytes);
    EXPECT_EQ(LSoundCacheItemLengthGet(n), 0);
    EXPECT_FALSE(LSoundCacheItemLastAccessTimeUpdate(n));
    EXPECT_EQ(kvtest::ReadFileBytes(ItemFile(n, ".audinfo")), bytes);  // not rewritten
    Cache().DecRef(n);
    EXPECT_FALSE(Exists(ItemFile(n, ".aud")));

    const uint16_t m = Import(Original("truncated.wav"));
    bytes = kvtest::ReadFileBytes(ItemFile(m, ".audinfo"));
    bytes.resize(bytes.size() / 2);
    kvtest::WriteFileBytes(ItemFile(m, ".audinfo"), bytes);
    EXPECT_EQ(LSoundCacheItemLengthGet(m), 0);
    Cache().DecRef(m);
    EXPECT_FALSE(Exists(ItemFile(m, ".aud")));
}

TEST_F(LSoundCacheTest, InfoUpdateKeepsOrdinals) {
    const uint16_t n = EditItem();
    auto image = [](auto fill) {
        LOutputStreamByteArray out;
        LSDFWriter w;
        w.Open(out, 44, 1);
        fill(w);
        w.Close();
        return out.TakeData();
    };
    const auto unknown = image([](LSDFWriter& w) { w.WriteBlob(200, "abc", 3); });
    ASSERT_TRUE(LSoundCacheItemInfoUpdate(n, unknown.data(), unknown.size(), false));
    ASSERT_TRUE(LSoundCacheItemLastAccessTimeUpdate(n));
    ASSERT_TRUE(LSoundCacheItemOriginalFileDetailsAdd(n, "/x.wav", 5, 6));
    EXPECT_EQ(RootIds(n), (std::vector<uint16_t>{16, 17, 200, 84, 80}));

    // Replacing 84 keeps it in fourth place; replacing 16 keeps it first.
    ASSERT_TRUE(LSoundCacheItemLastAccessTimeUpdate(n));
    const auto rate = image([](LSDFWriter& w) { w.WriteInt(16, 96000); });
    ASSERT_TRUE(LSoundCacheItemInfoUpdate(n, rate.data(), rate.size(), false));
    EXPECT_EQ(RootIds(n), (std::vector<uint16_t>{16, 17, 200, 84, 80}));
    int r = 0, c = 0;
    EXPECT_TRUE(LSoundCacheItemAudioInfoGet(ItemFile(n, ".audinfo"), r, c));
    EXPECT_EQ(r, 96000);

    // keepExisting appends a second 80 last.
    ASSERT_TRUE(LSoundCacheItemOriginalFileDetailsAdd(n, "/y.wav", 7, 8));
    EXPECT_EQ(RootIds(n), (std::vector<uint16_t>{16, 17, 200, 84, 80, 80}));
    LSoundCacheItemInfoContents contents;
    ASSERT_TRUE(LSoundCacheItemInfoRead(ItemFile(n, ".audinfo"), contents));
    ASSERT_EQ(contents.originals.size(), 2u);
    EXPECT_EQ(contents.originals[1].path, "/y.wav");
    EXPECT_EQ(contents.originals[1].size, 8);

    // A bad image changes nothing.
    const auto before = kvtest::ReadFileBytes(ItemFile(n, ".audinfo"));
    const uint8_t junk[20] = {'x'};
    LSoundCacheItemInfoUpdate(n, junk, sizeof junk, false);
    EXPECT_EQ(kvtest::ReadFileBytes(ItemFile(n, ".audinfo")), before);
    // A missing file is not made.
    EXPECT_FALSE(LSoundCacheItemInfoUpdate(999, rate.data(), rate.size(), false));
    EXPECT_FALSE(Exists(ItemFile(999, ".audinfo")));
}

TEST_F(LSoundCacheTest, SignalChangeWritesToListenersWithBitZero) {
    int told[2], untold[2];
    ASSERT_EQ(::pipe(told), 0);
    ASSERT_EQ(::pipe(untold), 0);
    auto& analyzer = LSoundCacheItemAnalyzerManager::Instance();
    analyzer.AddListener(told[1], 1);
    analyzer.AddListener(untold[1], 2);
    Import("");
    analyzer.RemoveListener(told[1]);
    analyzer.RemoveListener(untold[1]);
    ::close(told[1]);
    ::close(untold[1]);
    char buffer[16];
    EXPECT_GE(::read(told[0], buffer, sizeof buffer), 1);
    EXPECT_EQ(::read(untold[0], buffer, sizeof buffer), 0);
    ::close(told[0]);
    ::close(untold[0]);
}

// Two processes import into one folder at the same moment; each gets its own
// items, and each item holds exactly what was written.
TEST_F(LSoundCacheTest, TwoProcessesImportDistinctItems) {
    constexpr int kProcesses = 2, kImports = 8;
    int go[2], results[2];
    ASSERT_EQ(::pipe(go), 0);
    ASSERT_EQ(::pipe(results), 0);
    std::vector<pid_t> children;
    for (int p = 0; p < kProcesses; ++p) {
        const pid_t pid = ::fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            ::close(go[1]);
            char byte;
            if (::read(go[0], &byte, 1) != 0) _exit(3);  // wait until the parent closes the pipe
            // Each child is its own instance: a fresh scan of the shared folder.
            LSoundCache::Instance().ResetForTesting(dir_.Path());
            for (int i = 0; i < kImports; ++i) {
                LProcessInterfaceVoid process;
                uint16_t item;
                long long length;
                std::vector<float> data(5000 * 2, static_cast<float>(p * 100 + i) / 1000.0f);
                if (LSoundCacheImport(process, "", LSoundSource(new MemorySource(data, 44100, 2)), false, &item,
                                      &length) != LProcessOK) {
                    _exit(1);
                }
                // Kept referenced: a finished edit item of this instance.
                uint32_t record = (static_cast<uint32_t>(p * 100 + i) << 16) | item;
                if (::write(results[1], &record, 4) != 4) _exit(2);
            }
            _exit(0);
        }
        children.push_back(pid);
    }
    ::close(go[0]);
    ::close(go[1]);
    ::close(results[1]);
    for (pid_t pid : children) {
        int status = 0;
        ::waitpid(pid, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    }
    std::vector<uint32_t> records(kProcesses * kImports);
    ASSERT_EQ(::read(results[0], records.data(), records.size() * 4), static_cast<ssize_t>(records.size() * 4));
    ::close(results[0]);
    std::set<uint16_t> items;
    for (uint32_t record : records) {
        const uint16_t item = record & 0xFFFF;
        const float value = static_cast<float>(record >> 16) / 1000.0f;
        EXPECT_TRUE(items.insert(item).second) << "item " << item << " handed out twice";
        const auto aud = kvtest::ReadFileBytes(ItemFile(item, ".aud"));
        ASSERT_EQ(aud.size(), 5000u * 2 * 4) << item;
        for (size_t i = 0; i < aud.size(); i += 4) {
            float v;
            std::memcpy(&v, aud.data() + i, 4);
            ASSERT_EQ(v, value) << item;
        }
        EXPECT_EQ(kvtest::ReadFileBytes(ItemFile(item, ".grf")).size(), 20u * 2 * 4);
    }
}

}  // namespace

// Instances sharing a folder count references separately. An item that
// another instance still uses survives this instance's last release and its
// cleanups, and goes once the other instance lets it go.
TEST_F(LSoundCacheTest, ItemUsedByAnotherInstanceIsNeverDeleted) {
    const uint16_t n = EditItem();  // this instance's only reference
    Cache().IncRef(n);
    int ready[2], done[2];
    ASSERT_EQ(::pipe(ready), 0);
    ASSERT_EQ(::pipe(done), 0);
    const pid_t pid = ::fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        ::close(ready[0]);
        ::close(done[1]);
        LSoundCache::Instance().ResetForTesting(dir_.Path());  // a separate instance
        LSoundCache::Instance().IncRef(n);
        char byte = 1;
        if (::write(ready[1], &byte, 1) != 1) _exit(2);
        while (::read(done[0], &byte, 1) > 0) {
        }
        _exit(0);
    }
    ::close(ready[1]);
    ::close(done[0]);
    char byte;
    ASSERT_EQ(::read(ready[0], &byte, 1), 1);

    Cache().DecRef(n);
    Cache().DecRef(n);  // our last reference: an edit item would go now
    EXPECT_EQ(Cache().GetRefCount(n), 0);
    EXPECT_TRUE(LSoundCacheItemIsValid(n));
    EXPECT_TRUE(Cache().IsKnown(n));  // and its number is not handed out again
    LSoundCacheCleanup(4);
    EXPECT_TRUE(LSoundCacheItemIsValid(n));

    ::close(done[1]);
    int status = 0;
    ::waitpid(pid, &status, 0);
    ::close(ready[0]);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    LSoundCacheCleanup(4);
    EXPECT_FALSE(LSoundCacheItemIsValid(n));
    EXPECT_FALSE(::access(ItemFile(n, ".aud").c_str(), F_OK) == 0);
}

// References of this instance keep a shared lock, and dropping them drops it.
TEST_F(LSoundCacheTest, ReferencedItemsHoldTheirAudioFile) {
    const uint16_t n = EditItem();
    LFile probe;
    ASSERT_TRUE(probe.Open(ItemFile(n, ".aud").c_str(), O_RDONLY));
    EXPECT_NE(::flock(probe.Fd(), LOCK_EX | LOCK_NB), 0);
    Cache().IncRef(n);
    Cache().DecRef(n);
    EXPECT_NE(::flock(probe.Fd(), LOCK_EX | LOCK_NB), 0);  // still one reference
    Cache().DecRef(n);  // gone: the item is deleted, the lock with it
    EXPECT_EQ(::flock(probe.Fd(), LOCK_EX | LOCK_NB), 0);
}

namespace {

// One thread drops the last references to many items while another makes
// new items and takes items again as a reopen does (reference first, then a
// look at the files). A reference must never be left on deleted files, and
// no file work may run under the cache's lock (ThreadSanitizer watches the
// rest).
TEST_F(LSoundCacheTest, ReleasingAndTakingOnTwoThreadsKeepsCountsAndFilesTogether) {
    constexpr int kItems = 300;
    std::vector<uint16_t> dropped, reopened;
    for (int i = 0; i < kItems; ++i) {
        const uint16_t n = Cache().ItemCreateNewAndIncRef();
        ASSERT_NE(n, kSoundCacheItemNone);
        Touch(ItemFile(n, ".grf"));
        Touch(ItemFile(n, ".audinfo"));
        (i % 2 ? dropped : reopened).push_back(n);
    }
    std::atomic<bool> go{false};
    std::vector<uint16_t> created, kept;
    std::thread releaser([&] {
        while (!go) std::this_thread::yield();
        for (size_t i = 0; i < dropped.size(); ++i) {
            Cache().DecRef(dropped[i]);
            Cache().DecRef(reopened[i]);
        }
    });
    std::thread taker([&] {
        while (!go) std::this_thread::yield();
        for (size_t i = 0; i < reopened.size(); ++i) {
            created.push_back(Cache().ItemCreateNewAndIncRef());
            const uint16_t n = reopened[i];
            Cache().IncRef(n);
            // As a reopen does: the item serves only while all its files are
            // there (a new item made meanwhile under the same number has no
            // .audinfo yet).
            if (LSoundCacheItemIsValid(n)) {
                kept.push_back(n);
            } else {
                Cache().DecRef(n);  // released before we came: decode again
            }
        }
    });
    go = true;
    releaser.join();
    taker.join();

    const std::set<uint16_t> made(created.begin(), created.end());
    EXPECT_EQ(made.size(), created.size());
    EXPECT_EQ(made.count(kSoundCacheItemNone), 0u);
    for (uint16_t n : created) {
        EXPECT_EQ(Cache().GetRefCount(n), 1) << n;
        EXPECT_TRUE(Exists(ItemFile(n, ".aud"))) << n;
    }
    for (uint16_t n : kept) {
        EXPECT_EQ(Cache().GetRefCount(n), 1) << n;
        EXPECT_TRUE(Exists(ItemFile(n, ".aud"))) << n;
        EXPECT_TRUE(Exists(ItemFile(n, ".audinfo"))) << n;
    }
    for (uint16_t n : dropped) {
        if (made.count(n)) continue;  // the number went to a new item
        EXPECT_EQ(Cache().GetRefCount(n), 0) << n;
        EXPECT_FALSE(Exists(ItemFile(n, ".aud"))) << n;
    }
    for (uint16_t n : created) Cache().DecRef(n);
    for (uint16_t n : kept) Cache().DecRef(n);
}

}  // namespace
