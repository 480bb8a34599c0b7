#include <gtest/gtest.h>

#include <string_view>

#include "mailhost/mime/clsAddressReader.h"

namespace {

using namespace std::string_view_literals;

struct CleanCase {
    std::string_view Raw, Expected;
};

TEST(AddressReader, KeepsOnlyPlausibleAddresses) {
    for (const CleanCase& c : {
             CleanCase{"a@example.com", "a@example.com"},
             CleanCase{"  a@example.com ", "a@example.com"},
             CleanCase{"a\r\n@exam\tple.com", "a@example.com"},
             CleanCase{"a\0b@example.com\x7F"sv, "ab@example.com"},
             CleanCase{"\"John Doe\"@example.com", "\"John Doe\"@example.com"},
             CleanCase{"a@[192.0.2.1]", "a@[192.0.2.1]"},
             CleanCase{"j\xC3\xBC@ex\xC3\xA4mple.de", "j\xC3\xBC@ex\xC3\xA4mple.de"},
             CleanCase{"no-at-sign", ""},
             CleanCase{"a b@example.com", ""},
             CleanCase{"a@example..com", ""},
             CleanCase{"a@b@example.com", ""},
             CleanCase{"<a@example.com>", ""},
             CleanCase{"a@example.com;drop", ""},
             CleanCase{"a@[1.2.3.4] x", ""},
             CleanCase{"a'); DROP TABLE x; --@example.com", ""},
         }) {
        SCOPED_TRACE(c.Raw);
        EXPECT_EQ(clsAddressReader::CleanAddress(c.Raw), c.Expected);
    }
}

TEST(AddressReader, CleansNames) {
    for (const CleanCase& c : {
             CleanCase{"Ann Example", "Ann Example"},
             CleanCase{"Evil\r\nBcc: x", "Evil Bcc: x"},
             CleanCase{"\x01\x02", ""},
         }) {
        SCOPED_TRACE(c.Raw);
        EXPECT_EQ(clsAddressReader::CleanName(c.Raw), c.Expected);
    }
}

}  // namespace
