// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/image_directory: files of others in the service's places. What it is for is
// tested with image_writer and hostile_readers.
#include "objmgrd/image_directory.h"

#include <gtest/gtest.h>

#include "objmgr/store.h"
#include "support/objmgr_process.h"

#include <fstream>
#include <unistd.h>

namespace
{

class ImageDirectoryTest : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(image_.Open(directory_.Path()), 0);
        ASSERT_EQ(image_.Create(4096, &made_), 0);
    }
    std::string At(const char *name) const { return directory_.Path() + "/" + name; }
    bool Exists(const char *name) const { return access(At(name).c_str(), F_OK) == 0; }
    // Another file in the place of the new image.
    void Replace() const
    {
        ASSERT_EQ(unlink(At("image.new").c_str()), 0);
        std::ofstream(At("image.new")) << "another's\n";
    }

    TestDirectory directory_;
    ImageDirectory image_;
    WritableImage made_;
};

TEST_F(ImageDirectoryTest, ANewImageGetsItsName)
{
    EXPECT_EQ(image_.Name(made_), 0);
    EXPECT_TRUE(Exists(kStoreImageName));
    EXPECT_FALSE(Exists("image.new"));
    image_.RemoveImage(made_);
    EXPECT_FALSE(Exists(kStoreImageName));
    ImageDirectory::Retire(&made_);
}

TEST_F(ImageDirectoryTest, ANewImageThatIsGivenUpIsRemoved)
{
    image_.Discard(&made_);
    EXPECT_FALSE(Exists("image.new"));
    EXPECT_EQ(made_.fd, -1);
    image_.Discard(&made_);  // nothing there
}

TEST_F(ImageDirectoryTest, AnothersFileInItsPlaceGetsNoNameAndStays)
{
    Replace();
    EXPECT_EQ(image_.Name(made_), ESTALE);
    EXPECT_FALSE(Exists(kStoreImageName));
    image_.Discard(&made_);
    EXPECT_TRUE(Exists("image.new"));
}

// What is left there would keep every image to come from being made.
TEST_F(ImageDirectoryTest, AFileInThePlaceOfTheNextImageGivesWay)
{
    Replace();
    image_.Discard(&made_);
    ASSERT_EQ(image_.Create(4096, &made_), 0);
    EXPECT_EQ(image_.Name(made_), 0);
    ImageDirectory::Retire(&made_);
}

TEST_F(ImageDirectoryTest, ANewImageThatWasRemovedGetsNoName)
{
    ASSERT_EQ(unlink(At("image.new").c_str()), 0);
    EXPECT_EQ(image_.Name(made_), ESTALE);
    image_.Discard(&made_);
}

}  // namespace
