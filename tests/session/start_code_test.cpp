// The start code search against the plain loop, and the dump beside it.
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <random>

#include "host/host_calls.h"
#include "qlip/SimpleException.h"
#include "session/mpeg4_configuration.h"
#include "session/mpeg4_start_code.h"
#include "session/uncalled.h"
#include "tests/support/memory_host.h"
#include "tests/support/syslog_capture.h"

using namespace qlip_test;

namespace {

int plain_search(const Bytes& data, int length, unsigned char code) {
    for (int i = 0; i < length - 4; ++i) {
        const unsigned char* at = data.data() + i;
        if (at[0] == 0 && at[1] == 0 && at[2] == 1 && at[3] == code && at[4] < 64) return i;
    }
    return -1;
}

// Exactly as long as it says, so that a sanitizer sees every byte read too far.
void expect_as_plain(const Bytes& content, int length) {
    Bytes data(content.begin(), content.begin() + length);
    data.shrink_to_fit();
    for (const unsigned char code : {0xB0, 0xB6}) {
        EXPECT_EQ(FindStartCode(data.data(), length, static_cast<char>(code)),
                  plain_search(data, length, code));
    }
    EXPECT_EQ(CheckForIFrame(data.data(), length), plain_search(data, length, 0xB6) >= 0 ? 1 : 0);
    const auto [sequence, vop] = qlip::find_start_codes(data.data(), length);
    EXPECT_EQ(sequence, plain_search(data, length, 0xB0));
    EXPECT_EQ(vop, plain_search(data, length, 0xB6));
}

}  // namespace

TEST(StartCode, AgreesWithThePlainLoopOnDataFullOfNearMisses) {
    std::mt19937 random(1);
    constexpr unsigned char kAlphabet[] = {0, 0, 0, 1, 0xB0, 0xB6, 63, 64};
    for (int round = 0; round < 20000; ++round) {
        Bytes data(random() % 500);
        for (unsigned char& byte : data)
            byte = kAlphabet[random() % 8];
        expect_as_plain(data, static_cast<int>(data.size()));
    }
}

TEST(StartCode, IsFoundWhereverItStandsInDataWithoutZeros) {
    constexpr unsigned char kCode[] = {0, 0, 1, 0xB6, 0x10};
    for (const size_t length : {20U, 133U, 134U, 300U, 389U}) {
        for (size_t at = 0; at + sizeof kCode <= length; ++at) {
            Bytes data(length, 0x81);
            std::copy(std::begin(kCode), std::end(kCode), data.begin() + static_cast<ptrdiff_t>(at));
            EXPECT_EQ(qlip::find_start_codes(data.data(), static_cast<int>(length)).vop,
                      static_cast<int>(at));
        }
    }
}

TEST(StartCode, IsNeverFoundInNegativeLengths) {
    unsigned char data[5] = {0, 0, 1, 0xB6, 0};
    for (const int length : {-2, -0x7FFFFFFF - 1, 0, 4}) {
        EXPECT_EQ(CheckForIFrame(data, length), 0);
        EXPECT_EQ(FindStartCode(data, length, static_cast<char>(0xB6)), -1);
    }
}

TEST(Dump, ShowsWholeLinesOfTenAtTheDebugLevelOnly) {
    unsigned char data[20];
    for (unsigned char i = 0; i < 20; ++i)
        data[i] = i;
    syslog_lines().clear();
    printInfo(data, 11);
    EXPECT_TRUE(syslog_lines().empty());
    const int before = sx_Debug;
    sx_Debug = 4;
    printInfo(data, 11);
    qliputil_printData(data + 7, 1);
    sx_Debug = before;
    ASSERT_EQ(syslog_lines().size(), 4U);
    EXPECT_NE(syslog_lines()[0].text.find("DBG: interface/src/mmfiInterface("), std::string::npos);
    EXPECT_NE(syslog_lines()[0].text.find("): Dump:sz=11\n"), std::string::npos);
    EXPECT_NE(syslog_lines()[2].text.find("): Data:0a 0b 0c 0d 0e 0f 10 11 12 13\n"), std::string::npos);
    EXPECT_NE(syslog_lines()[3].text.find("): i=0000 pdata[i]=0007\n"), std::string::npos);
    EXPECT_THROW(mmfi_Read(nullptr, data, nullptr, false), SimpleException);
}
