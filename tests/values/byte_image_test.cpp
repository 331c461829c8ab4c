// The view of the image's hash beside a plain map, and what a host may do to the hash at any time.
#include <limits>
#include <map>
#include <random>

#include <gtest/gtest.h>

#include "values/byte_image.h"

namespace ac500::test {
namespace {

using PlainImage = std::map<quint64, char>;

PlainImage contentOf(const ImageHash& hash) {
    PlainImage content;
    for (auto byte = hash.constBegin(); byte != hash.constEnd(); ++byte) {
        EXPECT_TRUE(content.emplace(byte.key(), byte.value()).second) << "a key is there twice: " << byte.key();
    }
    return content;
}

std::string copied(ByteImage& image, ImageKey key, int count) {
    std::string bytes(static_cast<std::size_t>(count), '?');
    image.copyBytes(key, count, &bytes[0]);
    return bytes;
}

// Keys of several areas, close together and across multiples of 64, and where addresses and keys wrap.
ImageKey someKey(std::mt19937& random) {
    const ImageKey starts[] = {0,
                               40,
                               4ULL << 32,
                               (4ULL << 32) + 1000,
                               (5ULL << 32) - 30,
                               (5ULL << 32) + (1U << 31) - 20,
                               0xFFFFFFFF80000000U,
                               std::numeric_limits<quint64>::max() - 50};
    return starts[random() % 8] + random() % 150;
}

// What the host does under the image lock, which it may at any time.
void actAsHost(std::mt19937& random, ImageHash& hash, PlainImage& plain, ImageHash& copy) {
    const ImageKey key = someKey(random);
    switch (random() % 8) {
        case 0:
            hash.remove(key);
            plain.erase(key);
            break;
        case 1:
            hash.insert(key, 'h');
            plain[key] = 'h';
            break;
        case 2:
            copy = hash;
            break;
        case 3:
            hash = ImageHash();
            plain.clear();
            break;
        case 4:
            hash.squeeze();
            break;
        case 5:
            hash.reserve(static_cast<int>(random() % 3000));
            break;
        case 6:
            hash.clear();
            plain.clear();
            break;
        default:
            hash.detach();
            break;
    }
}

TEST(ByteImageTest, DoesWhatAPlainMapDoesWhateverTheHostDoesInBetween) {
    std::mt19937 random(20261122);
    ImageHash hash;
    ImageHash copy;
    PlainImage plain;
    ByteImage image(hash);
    for (int step = 0; step < 30000 / AC500_TEST_PACE; ++step) {
        if (random() % 20 == 0) {
            actAsHost(random, hash, plain, copy);
        }
        const PlainImage copyBefore = step % 50 == 0 ? contentOf(copy) : PlainImage();
        const ImageKey key = someKey(random);
        const int count = static_cast<int>(random() % 130);
        if (random() % 2 == 0) {
            std::string source;
            for (int i = 0; i < count; ++i) {
                source += static_cast<char>(random());
                plain[key + static_cast<quint32>(i)] = source.back();
            }
            image.store(key, source.data(), count);
        } else {
            std::string expected;
            for (int i = 0; i < count; ++i) {
                expected += plain[key + static_cast<quint32>(i)];
            }
            ASSERT_EQ(copied(image, key, count), expected) << "step " << step << ", key " << key;
        }
        if (step % 50 == 0) {
            ASSERT_EQ(contentOf(hash), plain) << "step " << step;
            ASSERT_EQ(contentOf(copy), copyBefore) << "the host's copy changed in step " << step;
        }
    }
    ASSERT_EQ(contentOf(hash), plain);
}

TEST(ByteImageTest, HostFindsEveryByteThroughTheHash) {
    ImageHash hash;
    ByteImage image(hash);
    const std::string source(5000, 'x');
    image.store(readKey(4, 100), source.data(), 5000);
    EXPECT_EQ(hash.size(), 5000);
    for (int i = 0; i < 5000; ++i) {
        ASSERT_EQ(hash.value(readKey(4, 100 + i)), 'x') << i;
    }
    EXPECT_FALSE(hash.contains(readKey(4, 99)));
    EXPECT_FALSE(hash.contains(readKey(4, 5100)));
}

TEST(ByteImageTest, StoringNothingLeavesTheHashAlone) {
    ImageHash hash;
    hash.insert(7, 'a');
    const ImageHash copy = hash;
    ByteImage image(hash);
    image.store(7, "b", 0);
    image.storeZeros(7, -1);
    EXPECT_TRUE(hash.isSharedWith(copy));
    EXPECT_EQ(hash.value(7), 'a');
}

TEST(ByteImageTest, BytesThatWereNeverReceivedAreInsertedAsZerosOneByOne) {
    ImageHash hash;
    hash.insert(11, 'b');
    ByteImage image(hash);
    EXPECT_EQ(copied(image, 10, 3), std::string("\0b\0", 3));
    EXPECT_EQ(contentOf(hash), (PlainImage{{10, 0}, {11, 'b'}, {12, 0}}));
}

TEST(ByteImageTest, AnElementWithoutItsFirstByteBecomesZeroAsAWhole) {
    ImageHash hash;
    hash.insert(11, 'b');
    hash.insert(21, 'c');
    ByteImage image(hash);
    char element[4] = {'?', '?', '?', '?'};
    image.copyElement(10, 4, element);
    EXPECT_EQ(std::string(element, 4), std::string(4, '\0'));
    image.copyElement(21, 2, element);
    EXPECT_EQ(std::string(element, 2), std::string("c\0", 2)) << "only the first byte decides";
    EXPECT_EQ(contentOf(hash), (PlainImage{{10, 0}, {11, 0}, {12, 0}, {13, 0}, {21, 'c'}, {22, 0}}));
}

// A rehash takes time for each byte that is there, with the image lock held.
TEST(ByteImageTest, ReservedRoomIsNotOutgrown) {
    ImageHash hash;
    ByteImage image(hash);
    image.reserve(20000);
    const int buckets = hash.capacity();
    EXPECT_GE(buckets, 10000);
    EXPECT_LT(buckets, 20000);
    image.storeZeros(readKey(4, 0), 20000);
    EXPECT_EQ(hash.capacity(), buckets);
    image.reserve(20000);
    EXPECT_EQ(hash.capacity(), buckets);
}

TEST(ByteImageTest, ReservingForSizesWithoutSenseAsksForNoMoreThanMemoryHas) {
    ImageHash hash;
    ByteImage image(hash);
    image.reserve(std::numeric_limits<qint64>::max() / 2);
    EXPECT_LT(hash.capacity(), 1 << 20);
    image.reserve(-5);
    image.storeZeros(1, 1);
    EXPECT_EQ(hash.size(), 1);
}

}  // namespace
}  // namespace ac500::test
