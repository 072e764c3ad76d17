#include "feed/offer_kind.h"

#include <gtest/gtest.h>

namespace pellam {
namespace {

TEST(OfferKindTest, WhiteSpaceOfAnyKindIsNoAddress) {
  const struct {
    FeedEntry entry;
    OfferKind kind;
  } rows[] = {
      {{{"app-installer", "https://example.com/a.zip"}, {"installer", "https://example.com/b.zip"}},
       OfferKind::inPlace},
      {{{"app-installer", "https://example.com/a.zip"}}, OfferKind::inPlace},
      {{{"app-installer", "\u00a0"}, {"installer", "https://example.com/b.zip"}},
       OfferKind::separateInstaller},
      {{{"app-installer", 7}, {"installer", "x"}}, OfferKind::separateInstaller},
      {{{"app-installer", ""}, {"installer", " \n\u2003"}}, OfferKind::none},
      {{}, OfferKind::none},
  };
  for (const auto& row : rows) EXPECT_EQ(offerKind(row.entry), row.kind) << &row - rows;
}

}  // namespace
}  // namespace pellam
