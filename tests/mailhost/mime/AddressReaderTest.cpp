#include <gtest/gtest.h>

#include <string_view>

#include "mailhost/mime/clsAddressReader.h"
#include "mailhost/mime/clsMimeMessage.h"

namespace {

using namespace std::string_view_literals;

struct CleanCase {
    std::string_view Raw;
    std::string_view Expected;
};

TEST(AddressReader, KeepsOnlyPlausibleAddresses) {
    for (const CleanCase& c : {
             CleanCase{"a@example.com", "a@example.com"},
             CleanCase{"first.last+tag@mail.example.co.uk", "first.last+tag@mail.example.co.uk"},
             CleanCase{"  a@example.com ", "a@example.com"},
             CleanCase{"a\r\n@exam\tple.com", "a@example.com"},
             CleanCase{"a\0b@example.com\x7F"sv, "ab@example.com"},
             CleanCase{"\"John Doe\"@example.com", "\"John Doe\"@example.com"},
             CleanCase{"a@[192.0.2.1]", "a@[192.0.2.1]"},
             CleanCase{"j\xC3\xBC@ex\xC3\xA4mple.de", "j\xC3\xBC@ex\xC3\xA4mple.de"},
             CleanCase{"MAILER-DAEMON@mx", "MAILER-DAEMON@mx"},
             CleanCase{"", ""},
             CleanCase{"no-at-sign", ""},
             CleanCase{"@example.com", ""},
             CleanCase{"a@", ""},
             CleanCase{"a b@example.com", ""},
             CleanCase{"a@exa mple.com", ""},
             CleanCase{"a@example..com", ""},
             CleanCase{"a@.example.com", ""},
             CleanCase{"a@example.com.", ""},
             CleanCase{"a@b@example.com", ""},
             CleanCase{"<a@example.com>", ""},
             CleanCase{"a@example.com;drop", ""},
             CleanCase{"a@[bad", ""},
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
             CleanCase{"  padded  ", "padded"},
             CleanCase{"Evil\r\nBcc: x", "Evil Bcc: x"},
             CleanCase{"Tab\there", "Tab here"},
             CleanCase{"\x01\x02", ""},
             CleanCase{"caf\xE9", "café"},
         }) {
        SCOPED_TRACE(c.Raw);
        EXPECT_EQ(clsAddressReader::CleanName(c.Raw), c.Expected);
    }
}

struct ListCase {
    std::string_view Header;
    std::vector<std::pair<std::string_view, std::string_view>> Expected;  // name, address
};

TEST(AddressReader, FlattensGroupsInOrder) {
    clsMimeMessage::Initialise();
    for (const ListCase& c : {
             ListCase{"a@example.com", {{"", "a@example.com"}}},
             ListCase{"Team: b@example.com, \"C, D\" <c@example.com>;, e@example.com",
                      {{"", "b@example.com"}, {"C, D", "c@example.com"}, {"", "e@example.com"}}},
             ListCase{"undisclosed-recipients:;", {}},
             ListCase{"Name Only <not an address>", {}},
             ListCase{"=?utf-8?q?Z=C3=B6e?= <zoe@example.com>", {{"Zöe", "zoe@example.com"}}},
         }) {
        SCOPED_TRACE(c.Header);
        InternetAddressList* list =
            internet_address_list_parse(nullptr, std::string(c.Header).c_str());
        const std::vector<clsMailAddress> mailboxes =
            clsAddressReader::Mailboxes(list, RecipientKind::Cc);
        if (list != nullptr) {
            g_object_unref(list);
        }
        ASSERT_EQ(mailboxes.size(), c.Expected.size());
        for (std::size_t i = 0; i < mailboxes.size(); ++i) {
            EXPECT_EQ(mailboxes[i].Name, c.Expected[i].first);
            EXPECT_EQ(mailboxes[i].Address, c.Expected[i].second);
            EXPECT_EQ(mailboxes[i].Kind, RecipientKind::Cc);
        }
    }
}

}  // namespace
