#include "SimCore/cKynFileList.h"

#include "SimCore/cKynFile.h"
#include "StoreKit/cInputFile.h"
#include "tests/support/cSimCoreFixture.h"

#include <gtest/gtest.h>
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
using cKynFileListTest = cSimCoreFixture;
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
