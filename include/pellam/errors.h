#pragma once

// Every error that the public operations throw. Each is one line in what(); bridge() makes a domain and a
// code of it, which are never reused for something else. A cancellation is OperationCancelled and no failure.
//
// For example:
//
//     const auto sentence = [](const std::function<void()>& operation) -> std::string {
//       try {
//         operation();
//         return "done";
//       } catch (const OperationCancelled&) {
//         return "cancelled";
//       } catch (const OrvoUpdateInstallerError& error) {
//         return installerErrorText(error);
//       } catch (const std::exception& error) {
//         return bridge(error).description;
//       }
//     };
//     assert(sentence([] { throw FeedNotServed(500); }) == "The feed's server answered with status 500.");
//     assert(sentence([] { throw OperationCancelled(); }) == "cancelled");
#include "pellam/bridged_error.h"
#include "pellam/cancellation.h"
#include "pellam/feed_parser_error.h"
#include "pellam/host_errors.h"
#include "pellam/installer_error.h"
#include "pellam/installer_error_text.h"
#include "pellam/url_loading_error.h"
