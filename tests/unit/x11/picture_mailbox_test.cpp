#include "platform/linux/x11/picture_mailbox.h"

#include <gtest/gtest.h>

namespace quorvane::platform::x11 {
namespace {

struct Sent {
    explicit Sent(std::uint8_t value, int width = 4, int height = 2)
        : bytes(static_cast<std::size_t>(4 * width * height), value) {
        picture.format = support::VideoFormat::bgrx;
        picture.width = width;
        picture.height = height;
        picture.planes[0] = {bytes.data(), 4 * width, bytes.size()};
    }
    std::vector<std::uint8_t> bytes;
    support::VideoPicture picture;
};

TEST(PictureMailbox, TheNewestPictureReplacesTheOnesBefore) {
    int announced = 0;
    PictureMailbox mailbox([&] { ++announced; });
    EXPECT_FALSE(mailbox.take());
    EXPECT_EQ(mailbox.picture(), nullptr);
    for (const int value : {1, 2, 3})
        mailbox.show(Sent(static_cast<std::uint8_t>(value)).picture);
    EXPECT_EQ(announced, 1) << "once until it is taken";
    ASSERT_TRUE(mailbox.take());
    ASSERT_NE(mailbox.picture(), nullptr);
    EXPECT_EQ(mailbox.picture()->planes[0].bytes[0], 3);
    EXPECT_FALSE(mailbox.take());
    mailbox.show(Sent(4).picture);
    EXPECT_EQ(announced, 2);
    EXPECT_EQ(mailbox.picture()->planes[0].bytes[0], 3) << "unchanged until it is taken";
}

TEST(PictureMailbox, NothingIsNewsToo) {
    PictureMailbox mailbox([] {});
    mailbox.show(Sent(1).picture);
    ASSERT_TRUE(mailbox.take());
    mailbox.clear();
    ASSERT_TRUE(mailbox.take());
    EXPECT_EQ(mailbox.picture(), nullptr);
}

TEST(PictureMailbox, PicturesOfAnotherSizeFollowEachOther) {
    PictureMailbox mailbox([] {});
    for (const int side : {64, 2, 128, 8}) {
        mailbox.show(Sent(static_cast<std::uint8_t>(side), side, side).picture);
        ASSERT_TRUE(mailbox.take());
        EXPECT_EQ(mailbox.picture()->width, side);
        EXPECT_EQ(mailbox.picture()->planes[0].size, static_cast<std::size_t>(4 * side * side));
    }
}

TEST(PictureMailbox, AnIncompletePictureIsNoNews) {
    PictureMailbox mailbox([] {});
    Sent sent(1);
    --sent.picture.planes[0].size;
    mailbox.show(sent.picture);
    EXPECT_FALSE(mailbox.take());
}

}  // namespace
}  // namespace quorvane::platform::x11
