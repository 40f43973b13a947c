#include "SimCore/cKynFileList.h"

#include "SimCore/cKynFile.h"
#include "StoreKit/cCfgInputFile.h"
#include "StoreKit/cInputFile.h"
#include "tests/support/cAlgorithmFixture.h"
#include "tests/support/cConfigurationTexts.h"
#include "tests/support/cPipelineFixture.h"
#include "tests/support/cTestHelpers.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>
#include <vector>

namespace
{
// A recording that notes its deletion, so that removal can be seen to delete the file with it.
class cTracedRecording : public cInputFile
{
public:
    cTracedRecording(std::string const& path, std::set<std::string>& deleted)
        : cInputFile(path), m_deleted(deleted)
    {
    }
    ~cTracedRecording() override { m_deleted.insert(extractName()); }

private:
    std::set<std::string>& m_deleted;
};

// Files "f0" ... in order; those whose index is in `used` take part in computations.
struct sList
{
    explicit sList(unsigned int count, std::set<unsigned int> const& used = {})
    {
        for (unsigned int i = 0; i < count; ++i)
            list.addFile(new cTracedRecording("/data/f" + std::to_string(i) + ".csh", deleted))
                ->useFile(used.count(i) != 0, nullptr);
    }
    // The names met by the walk over all files, or over the used ones.
    std::vector<std::string> names(bool usedOnly = false) const
    {
        std::vector<std::string> result;
        unsigned int cursor = 0;
        for (cKynFile* file = usedOnly ? list.firstUsedFile(cursor) : list.firstFile(cursor); file != nullptr;
             file = usedOnly ? list.nextUsedFile(cursor) : list.nextFile(cursor))
            result.push_back(file->extractName());
        return result;
    }
    std::set<std::string> deleted; // outlives the list
    cKynFileList list;
};
// Two file-linked time events A and C at 20000 ticks per second, and the list data of
// tests/data/SimCore/files with its "@DIR@" standing for the test's folder, where the crash files are.
class cKynFileListTest : public cAlgorithmFixture
{
protected:
    cKynFileListTest()
    {
        algorithm.loadTimeEvents("Time Event {\nName = A\nFile Link = 1\n}\nTime Event {\nName = B\n}\n"
                                 "Time Event {\nName = C\nFile Link = 1\n}\n");
        algorithm.setTimeEventsPrecisionFrequency(20000);
        for (char const* name : {"front_LSB_01.csh", "side_MSS_02.csh"})
            std::filesystem::copy_file(std::string(SIMCORE_TEST_DATA_DIR) + "SimCore/files/front_LSB_01.csh",
                                       tempPath(name));
    }
    // A list file of the test data, written into the test's folder.
    std::string listFile(std::string const& name)
    {
        writeText(tempPath(name), withFolder(testData("SimCore/files/" + name), "@DIR@", tempFolder()));
        return tempPath(name);
    }
    static std::string withFolder(std::string text, std::string const& from, std::string const& to)
    {
        for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
            text.replace(at, from.size(), to);
        return text;
    }
    // "kind|title|text" of each user message so far.
    std::vector<std::string> shown() const
    {
        std::vector<std::string> result;
        for (auto const& entry : messages.entries())
            result.push_back(entry.kind + "|" + entry.title + "|" + entry.text);
        return result;
    }
};
} // namespace

TEST_F(cKynFileListTest, WalksGoOverAllFilesOrOverTheUsedOnes)
{
    sList files(5, {1, 2, 4});
    EXPECT_EQ((std::vector<std::string>{"f0", "f1", "f2", "f3", "f4"}), files.names());
    EXPECT_EQ((std::vector<std::string>{"f1", "f2", "f4"}), files.names(true));
    EXPECT_EQ(3u, files.list.getUsedFileNumber());

    unsigned int cursor = 7;
    sList unused(2);
    EXPECT_EQ(nullptr, unused.list.firstUsedFile(cursor));
    EXPECT_EQ(2u, cursor);
    EXPECT_EQ(nullptr, unused.list.nextUsedFile(cursor)) << "stays behind the end";

    files.list.clearUsedFiles();
    EXPECT_TRUE(files.names(true).empty());
    EXPECT_EQ(5u, files.list.getFilesNumber()) << "the files stay in the list";
    EXPECT_EQ("File List Files (*.fls)|*.fls|All Files (*.*)|*.*||", cKynFileList::getFileFilter(0));
    EXPECT_EQ("fls", cKynFileList::getDefaultExtension(0));
}

TEST_F(cKynFileListTest, RemovalDeletesTheFilesAndKeepsTheOrderOfTheOthersFoundByPointer)
{
    sList files(6);
    sList other(1);
    files.list.removeFile(other.list.getFile(0));
    files.list.removeFile(nullptr);
    EXPECT_EQ(6u, files.list.getFilesNumber()) << "a file of another list is left alone";
    EXPECT_TRUE(other.deleted.empty());

    files.list.removeFile(files.list.getFile(2));
    EXPECT_EQ((std::set<std::string>{"f2"}), files.deleted);
    EXPECT_EQ((std::vector<std::string>{"f0", "f1", "f3", "f4", "f5"}), files.names());

    // Indices name the files of the list as it stands; repeated and out-of-range ones change nothing more.
    files.list.removeFiles({3, 0, 3, 9, -1, 5});
    EXPECT_EQ((std::set<std::string>{"f0", "f2", "f4"}), files.deleted);
    EXPECT_EQ((std::vector<std::string>{"f1", "f3", "f5"}), files.names());

    EXPECT_TRUE(files.list.containsFile(files.list.getFile(1)));
    EXPECT_FALSE(files.list.containsFile(sList(2).list.getFile(1))) << "the same path in another list";

    files.list.removeAllFiles();
    EXPECT_EQ(0u, files.list.getFilesNumber());
    EXPECT_EQ(6u, files.deleted.size());
    std::set<std::string> deleted;
    {
        cKynFileList list;
        list.addFile(new cTracedRecording("/data/a.csh", deleted));
    }
    EXPECT_EQ((std::set<std::string>{"a"}), deleted) << "the list's destructor deletes its files";
}

// The list file (a missing crash file, a group of another name, an unknown event, a channel group without
// its name) loads the other files and reports in this order, with or without the warnings of the reads;
// what is saved reads back to the same text, with and without a new path.
TEST_F(cKynFileListTest, OpenReportsInOrderAndSavedListsReadBackTheSame)
{
    std::string const path = listFile("list-input.fls");
    for (bool const showWarnings : {true, false})
    {
        messages.clear();
        cKynFileList list;
        list.open(path, nullptr, showWarnings);
        EXPECT_EQ((std::vector<std::string>{
                      "scroll|Warning|The following 1 files could not be loaded:\nmissing_03\n",
                      "warning||Some TTFs in the file list are not defined in the project.\nThey have been "
                      "discarded.",
                      "warning||Some channel defect characteristics are missing "}),
                  shown());
        ASSERT_EQ(2u, list.getFilesNumber());
        EXPECT_EQ((std::vector<std::string>{"front_LSB_01", "side_MSS_02"}),
                  (std::vector<std::string>{list.getFile(0)->extractName(), list.getFile(1)->extractName()}));
        EXPECT_EQ(1u, list.getUsedFileNumber());
    }

    cKynFileList list(nullptr, path);
    std::string const saved = tempPath("saved.fls");
    list.saveSettings("round trip", saved, false, false, false);
    EXPECT_EQ(testData("SimCore/files/list-expected.fls"),
              withFolder(readText(saved), tempFolder(), "@DIR@"));
    EXPECT_EQ(saved, list.getConfigurationFile()->getFileName()) << "the new file is the list's file";

    messages.clear();
    cKynFileList again(nullptr, saved);
    EXPECT_TRUE(shown().empty()) << "a clean list loads without a message";
    writeText(saved, "");
    again.saveSettings("round trip", "", false, false, false);
    EXPECT_EQ(testData("SimCore/files/list-expected.fls"),
              withFolder(readText(saved), tempFolder(), "@DIR@"));
}

TEST_F(cKynFileListTest, SaveRefusesALockedFileAndOpenNamesAListFileItCannotRead)
{
    cKynFileList list;
    EXPECT_EQ("cNULLPointer|cKynFileList::saveSettings|KYN Error (NULL Pointer). Out of memory ?\n",
              failureOf([&] { list.saveSettings("", "", false, false, false); }));
    std::string const missing = tempPath("none.fls");
    EXPECT_EQ("cGenericException|cKynFileList::setConfiguration|Failed to open file list: " + missing,
              failureOf([&] { list.open(missing, nullptr, true); }));

    std::string const path = listFile("list-input.fls");
    list.open(path, nullptr, false);
    list.open("", nullptr, false);
    EXPECT_EQ(2u, list.getFilesNumber()) << "an empty path leaves the list as it is";
    messages.clear();
    list.getConfigurationFile()->setWritable(false);
    std::string const before = readText(path);
    EXPECT_EQ("cFileNotWritableException|cKynFileList::saveSettings|The file is not writable.",
              failureOf([&] { list.saveSettings("", "", false, false, false); }));
    EXPECT_EQ(
        (std::vector<std::string>{
            "warning||The file " + path +
            " is locked.\n\nThe file has probably been locked when creating a batch mode file or because it "
            "is a reference file. When creating a batch mode, necessary files are locked to ensure possible "
            "recovery of the exact batch mode parameters later.\n\n It should probably NOT be "
            "overwritten.\n - If you don't want to overwrite it, enter a new file name in the next dialog "
            "box, or cancel it.\n - If you want to overwrite it anyway, select its name and confirm."}),
        shown());
    EXPECT_EQ(before, readText(path)) << "nothing written";

    list.reset();
    EXPECT_EQ(0u, list.getFilesNumber());
    EXPECT_EQ(nullptr, list.getConfigurationFile());
}

// The token of the crash file counts in its case; the preprocessing name in any case, "digital" first.
TEST_F(cKynFileListTest, UnitsRuleReportsCrashFilesInTheWrongUnitsForThePreprocessing)
{
    sList files(0);
    for (char const* path :
         {"/d/front_LSB_01.csh", "/d/side_MSS_02.bin", "/d/rear_lsb_03.csh", "/d/b_LSB_.csh"})
        files.list.addFile(new cTracedRecording(path, files.deleted));
    std::string const lsb =
        "The following crash files in LSB units have been loaded in a Reference preprocessing:"
        "\n\nfront_LSB_01.csh\nb_LSB_.csh\n";
    std::string const mss =
        "The following crash files in MSS units have been loaded in a Digital preprocessing:"
        "\n\nside_MSS_02.bin\n";
    for (auto const& [preprocessing, report] :
         std::vector<std::pair<std::string, std::string>>{{"Front_REFERENCE.prp", lsb},
                                                          {"digital.prp", mss},
                                                          {"reference_Digital.prp", mss},
                                                          {"plain.prp", ""}})
        EXPECT_EQ(report, files.list.incompatibleCrashFilesReport(preprocessing)) << preprocessing;
    EXPECT_EQ("", sList(2).list.incompatibleCrashFilesReport("digital.prp")) << "no file matches";
    files.list.displayMessageForIncompatibleCrashFiles(true);
    EXPECT_TRUE(messages.entries().empty()) << "no active preprocessing set, nothing to compare with";
}

// Files f0 ... f5; the gathered ones keep their order, before the first other file at or after the index.
TEST_F(cKynFileListTest, GatherFilesAroundIdxMovesTheSetAsOneBlock)
{
    struct sCase
    {
        std::set<unsigned int> moved;
        int index;
        std::vector<std::string> order;
        NewPosition position;
    };
    for (sCase const& c : std::vector<sCase>{
             {{4, 1}, 3, {"f0", "f2", "f1", "f4", "f3", "f5"}, {2, 2}},
             {{4, 1}, 0, {"f1", "f4", "f0", "f2", "f3", "f5"}, {0, 2}},
             {{4, 1}, 4, {"f0", "f2", "f3", "f1", "f4", "f5"}, {3, 2}},
             {{4, 1}, 99, {"f0", "f2", "f3", "f5", "f1", "f4"}, {4, 2}},
             {{0}, -3, {"f0", "f1", "f2", "f3", "f4", "f5"}, {0, 1}},
             {{}, 2, {"f0", "f1", "f2", "f3", "f4", "f5"}, {2, 0}},
         })
    {
        sList files(6);
        sList other(1);
        std::unordered_set<cKynFile*> set{other.list.getFile(0)};
        for (unsigned int i : c.moved)
            set.insert(files.list.getFile(static_cast<int>(i)));
        EXPECT_EQ(c.position, files.list.gatherFilesAroundIdx(set, c.index)) << c.index;
        EXPECT_EQ(c.order, files.names()) << c.index;
    }
}

namespace
{
using cKynFileListOfProjectTest = cPipelineFixture;
} // namespace

// The units rule reads the name of the active preprocessing set's file: LSB recordings are refused by a
// reference set, MSS ones by a digital set, and a list opened quietly says nothing.
TEST_F(cKynFileListOfProjectTest, UnitsRuleFollowsTheActivePreprocessingFile)
{
    for (char const* name : {"Reference.prp", "front_DIGITAL.prp"})
        std::filesystem::copy_file(tempPath("preprocessing.prp"), tempPath(name));
    for (char const* name : {"front_LSB_01.csh", "side_MSS_02.csh"})
        std::filesystem::copy_file(tempPath("crash.csh"), tempPath(name));
    openProject();
    for (char const* name : {"front_LSB_01.csh", "side_MSS_02.csh"})
        myActiveFileList->addFile(tempPath(name).c_str(), nullptr);
    std::vector<std::string> reports;
    for (char const* preprocessing : {"preprocessing.prp", "Reference.prp", "front_DIGITAL.prp"})
    {
        myActivePreprocessing->open(preprocessing, tempFolder());
        messages.clear();
        myActiveFileList->displayMessageForIncompatibleCrashFiles(false);
        myActiveFileList->displayMessageForIncompatibleCrashFiles(true);
        for (auto const& entry : messages.entries())
            reports.push_back(entry.title + "|" + entry.text);
    }
    std::string const title =
        "CRITICAL WARNING: Crash File (CSH) Incompatible with Preprocessing File Detected|";
    EXPECT_EQ((std::vector<std::string>{
                  title + "The following crash files in LSB units have been loaded in a Reference "
                          "preprocessing:\n\nfront_LSB_01.csh\n",
                  title + "The following crash files in MSS units have been loaded in a Digital "
                          "preprocessing:\n\nside_MSS_02.csh\n"}),
              reports);
}
