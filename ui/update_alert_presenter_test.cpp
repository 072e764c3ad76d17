#include "ui/update_alert_presenter.h"

#include <gtest/gtest.h>

#include <set>

#include "localization/localized_text.h"
#include "tests/support/recording_toolkit.h"

namespace pellam {
namespace {

using namespace testing_support;
using Phase = OrvoUpdateManualUpdateFailurePhase;

class UpdateAlertPresenterTest : public testing::Test {
 protected:
  std::shared_ptr<RecordingToolkit> toolkit_ = std::make_shared<RecordingToolkit>();
  std::shared_ptr<FakeBundles> bundles_ = std::make_shared<FakeBundles>();
  std::vector<std::string> opened_;
  bool opens_ = true;
  OrvoUpdateAlertPresenter presenter_{toolkit_, bundles_, [this](const URL& url) {
                                        opened_.push_back(url.text());
                                        return opens_;
                                      }};
  const std::filesystem::path bundle_ = "/Applications/Editor.app";
  const URL page_ = *URL::parse("https://example.com/download");
};

TEST_F(UpdateAlertPresenterTest, ShowsTheStatedTexts) {
  const std::string later = "Please try again later.";
  const std::string manual =
      "The update could not be installed automatically. You can download and install it manually.";
  const std::string download =
      "The automatic update could not be installed. You can download the update manually.";
  struct Row {
    std::function<void()> present;
    AlertDescription alert;
  };
  const auto warning = [](const std::string& message, const std::string& text,
                          std::vector<std::string> buttons = {}) {
    return AlertDescription{AlertStyle::warning, message, text, std::move(buttons), std::nullopt};
  };
  const std::vector<std::string> choice = {"Update Manually", "Cancel"};
  auto& presenter = presenter_;
  const std::vector<Row> rows = {
      {[&] { presenter.presentUnableToCheckForUpdatesAlert(false, bundle_); },
       warning("Unable to Check For Updates", later)},
      {[&] { presenter.presentUnableToCheckForUpdatesAlert(true, bundle_); },
       warning("Unable to Check For Updates. Internet appears to be offline.", later)},
      {[&] { presenter.presentDownloadFailedAlert(bundle_, std::nullopt); }, warning("Download Failed", "")},
      {[&] { presenter.presentDownloadFailedAlert(bundle_, "why"); }, warning("Download Failed", "why")},
      {[&] { presenter.presentInstallationFailedAlert(bundle_, std::nullopt); },
       warning("Update Failed", manual, {"OK"})},
      {[&] { presenter.presentInstallationFailedAlert(bundle_, ""); }, warning("Update Failed", "", {"OK"})},
      {[&] { presenter.presentManualUpdateAlert(bundle_, std::nullopt, page_, Phase::download); },
       warning("Download Failed", download, choice)},
      {[&] { presenter.presentManualUpdateAlert(bundle_, std::nullopt, page_, Phase::installation); },
       warning("Update Failed", manual, choice)},
      {[&] { presenter.presentManualUpdateAlert(bundle_, "", page_, Phase::download); },
       warning("Download Failed", "", choice)},
      {[&] { presenter.presentUpdateCancelledAlert(bundle_); },
       warning("Update Canceled",
               "The update was not installed. It will be offered again the next time you check for updates.",
               {"OK"})},
  };
  for (const Row& row : rows) {
    toolkit_->alerts.clear();
    row.present();
    ASSERT_EQ(toolkit_->alerts.size(), 1U) << row.alert.messageText;
    EXPECT_EQ(toolkit_->alerts.front(), row.alert) << row.alert.messageText;
  }
  EXPECT_TRUE(opened_.empty());
}

TEST_F(UpdateAlertPresenterTest, OpensThePageForTheFirstButtonOnly) {
  toolkit_->answers = {{1, std::nullopt}, {0, std::nullopt}, {0, std::nullopt}};
  presenter_.presentManualUpdateAlert(bundle_, std::nullopt, page_, Phase::download);
  EXPECT_TRUE(opened_.empty());
  presenter_.presentManualUpdateAlert(bundle_, std::nullopt, page_, Phase::installation);
  opens_ = false;
  presenter_.presentManualUpdateAlert(bundle_, std::nullopt, page_, Phase::download);
  EXPECT_EQ(opened_, (std::vector<std::string>{page_.text(), page_.text()}));
}

TEST_F(UpdateAlertPresenterTest, AnswersAManualCheck) {
  using Result = OrvoUpdateManualCheckCompletionResult;
  const AlertDescription unable{
      AlertStyle::warning, "Unable to Check For Updates", "Please try again later.", {}, std::nullopt};
  const auto current = [](std::optional<AlertCheckbox> checkbox) {
    return AlertDescription{AlertStyle::informational,
                            "No Updates Available",
                            "You are running the current version of Editor.",
                            {},
                            std::move(checkbox)};
  };
  struct Row {
    bool shows, isOK, offersToggle, toggle;
    std::optional<bool> ticked;  // what the user leaves the checkbox at
    std::optional<AlertDescription> alert;
    Result result;
  };
  const AlertCheckbox off{"Check for beta releases", false};
  const AlertCheckbox on{"Check for beta releases", true};
  const std::vector<Row> rows = {
      {false, true, true, true, std::nullopt, std::nullopt, {false, false, std::nullopt}},
      {false, false, false, false, std::nullopt, std::nullopt, {false, false, std::nullopt}},
      {true, true, false, true, std::nullopt, current(std::nullopt), {true, true, std::nullopt}},
      {true, true, true, false, true, current(off), {true, true, true}},
      {true, true, true, false, false, current(off), {true, true, false}},
      {true, true, true, true, false, current(on), {true, true, false}},
      {true, true, true, true, std::nullopt, current(on), {true, true, std::nullopt}},
      {true, false, true, true, std::nullopt, unable, {true, true, std::nullopt}},
      {true, false, false, false, true, unable, {true, true, std::nullopt}},
  };
  for (std::size_t index = 0; index < rows.size(); ++index) {
    const Row& row = rows[index];
    toolkit_->alerts.clear();
    toolkit_->answers = {{0, row.ticked}};
    const OrvoUpdateManualCheckCompletionInput input{row.shows,        row.isOK,   "Editor",
                                                     row.offersToggle, row.toggle, bundle_};
    EXPECT_EQ(presenter_.makeManualCheckCompletionAlert(input), row.alert) << index;
    EXPECT_TRUE(toolkit_->alerts.empty()) << "making shows nothing";
    EXPECT_EQ(presenter_.presentManualCheckCompletionAlert(input), row.result) << index;
    EXPECT_EQ(toolkit_->alerts.size(), row.alert ? 1U : 0U) << index;
  }
}

// The owner goes away while its alert is open: the answer is still acted on, nothing that is gone is touched.
TEST_F(UpdateAlertPresenterTest, MayBeDestroyedInsideItsAlert) {
  auto presenter = std::make_unique<OrvoUpdateAlertPresenter>(toolkit_, bundles_, [this](const URL& url) {
    opened_.push_back(url.text());
    return true;
  });
  toolkit_->answers = {{0, std::nullopt}};
  toolkit_->whileAlertIsOpen = [&] { presenter.reset(); };
  presenter->presentManualUpdateAlert(bundle_, std::nullopt, page_, Phase::download);
  EXPECT_EQ(opened_, std::vector{page_.text()});
}

TEST_F(UpdateAlertPresenterTest, LooksTextsUpInTheirTables) {
  toolkit_->answers = {{0, true}};
  static_cast<void>(
      presenter_.presentManualCheckCompletionAlert({true, true, "Editor", true, false, bundle_}));
  using LookUp = FakeBundles::LookUp;
  EXPECT_EQ(bundles_->lookedUp,
            (std::vector<LookUp>{{bundle_.string(), "Updates", "No Updates Available"},
                                 {bundle_.string(), "Updates", "You are running the current version of %@."},
                                 {bundle_.string(), "", "Check for beta releases"}}));
}

// A table can hold a key once; what stands in one table twice must be the same text with the same comment.
TEST(LocalizedTexts, AreDistinct) {
  std::set<std::pair<std::string_view, std::string_view>> keys;
  for (const LocalizedText& text : localized_texts::all) {
    EXPECT_TRUE(keys.emplace(text.table, text.key).second) << text.key;
    EXPECT_FALSE(text.key.empty());
    EXPECT_TRUE(text.table.empty() || !text.comment.empty()) << text.key;
  }
  EXPECT_EQ(localized_texts::noUpdatesAvailable.comment, "new window alert");
  EXPECT_EQ(localized_texts::unableToCheck.comment, "news window alert");
}

}  // namespace
}  // namespace pellam
