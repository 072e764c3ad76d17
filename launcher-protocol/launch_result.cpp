#include "launcher-protocol/launch_result.h"

#include <limits>
#include <utility>
#include <vector>

#include "launcher-protocol/value_readers.h"
#include "platform/security_status.h"

namespace pellam {

namespace {

using Result = OrvoAppBundleReplacementLaunchResult;
using Diagnostic = OrvoAppBundleInstallerFailureDiagnostic;
using Phase = OrvoAppBundleInstallerLaunchPhase;

constexpr const char* resultKey = "result";
constexpr const char* phaseKey = "phase";
constexpr const char* errorDomainKey = "errorDomain";
constexpr const char* errorCodeKey = "errorCode";
constexpr const char* errorDescriptionKey = "errorDescription";

PropertyListDictionary encoded(const char* name, const Diagnostic& diagnostic) {
  PropertyListDictionary dictionary{{resultKey, name}, {phaseKey, rawValue(diagnostic.phase)}};
  if (diagnostic.errorDomain) dictionary.set(errorDomainKey, *diagnostic.errorDomain);
  if (diagnostic.errorCode) dictionary.set(errorCodeKey, *diagnostic.errorCode);
  if (diagnostic.errorDescription) dictionary.set(errorDescriptionKey, *diagnostic.errorDescription);
  return dictionary;
}

PropertyListDictionary encodedStatus(const char* name, std::int32_t status) {
  return encoded(name, {Phase::authorization, "NSOSStatusErrorDomain", status, securityErrorMessage(status)});
}

std::optional<Phase> decodedPhase(const PropertyListDictionary& dictionary) {
  const PropertyListText* text = dictionary.findString(phaseKey);
  return text == nullptr ? std::nullopt : launchPhaseFromRawValue(*text);
}

std::optional<Diagnostic> decodedDiagnostic(const PropertyListDictionary& dictionary) {
  const std::optional<Phase> phase = decodedPhase(dictionary);
  if (!phase) return std::nullopt;
  return Diagnostic{*phase, stringValue(dictionary.find(errorDomainKey)),
                    numericIntValue(dictionary.find(errorCodeKey)),
                    stringValue(dictionary.find(errorDescriptionKey))};
}

std::optional<std::int32_t> decodedStatus(const PropertyListDictionary& dictionary) {
  const std::optional<Diagnostic> diagnostic = decodedDiagnostic(dictionary);
  if (!diagnostic || diagnostic->phase != Phase::authorization || !diagnostic->errorCode ||
      !std::in_range<std::int32_t>(*diagnostic->errorCode)) {
    return std::nullopt;
  }
  return static_cast<std::int32_t>(*diagnostic->errorCode);
}

std::optional<Result> decoded(const PropertyListDictionary& dictionary) {
  const PropertyListText* name = dictionary.findString(resultKey);
  if (name == nullptr) return std::nullopt;
  if (*name == "launched") return Result::launched();
  if (*name == "helperUnavailable") return Result::helperUnavailable();
  if (*name == "launchFailed" || *name == "protocolFailure") {
    std::optional<Diagnostic> diagnostic = decodedDiagnostic(dictionary);
    if (!diagnostic) return std::nullopt;
    return *name == "launchFailed" ? Result::launchFailed(*std::move(diagnostic))
                                   : Result::protocolFailure(*std::move(diagnostic));
  }
  if (*name == "authorizationDenied" || *name == "authorizationCancelled") {
    const std::optional<std::int32_t> status = decodedStatus(dictionary);
    if (!status) return std::nullopt;
    return *name == "authorizationDenied" ? Result::authorizationDenied(*status)
                                          : Result::authorizationCancelled(*status);
  }
  if (*name == "timedOut") {
    const std::optional<Phase> phase = decodedPhase(dictionary);
    if (phase) return Result::timedOut(*phase);
  }
  return std::nullopt;
}

}  // namespace

Result Result::launchFailed(Diagnostic diagnostic) {
  Result result;
  result.kind = Kind::launchFailed;
  result.diagnostic = std::move(diagnostic);
  return result;
}

Result Result::protocolFailure(Diagnostic diagnostic) {
  Result result;
  result.kind = Kind::protocolFailure;
  result.diagnostic = std::move(diagnostic);
  return result;
}

Result Result::authorizationDenied(std::int32_t status) {
  Result result;
  result.kind = Kind::authorizationDenied;
  result.status = status;
  return result;
}

Result Result::authorizationCancelled(std::int32_t status) {
  Result result;
  result.kind = Kind::authorizationCancelled;
  result.status = status;
  return result;
}

Result Result::timedOut(Phase phase) {
  Result result;
  result.kind = Kind::timedOut;
  result.phase = phase;
  return result;
}

Result Result::launched() { return {}; }

Result Result::helperUnavailable() {
  Result result;
  result.kind = Kind::helperUnavailable;
  return result;
}

PropertyListDictionary Result::xpcDictionary() const {
  switch (kind) {
    case Kind::launched:
      return {{resultKey, "launched"}};
    case Kind::helperUnavailable:
      return {{resultKey, "helperUnavailable"}};
    case Kind::launchFailed:
      return encoded("launchFailed", diagnostic);
    case Kind::protocolFailure:
      return encoded("protocolFailure", diagnostic);
    case Kind::authorizationDenied:
      return encodedStatus("authorizationDenied", status);
    case Kind::authorizationCancelled:
      return encodedStatus("authorizationCancelled", status);
    case Kind::timedOut:
      break;
  }
  return {{resultKey, "timedOut"}, {phaseKey, rawValue(phase)}};
}

Result Result::fromXPCDictionary(const PropertyListDictionary& dictionary) {
  if (std::optional<Result> result = decoded(dictionary)) return *std::move(result);
  return protocolFailure(
      {Phase::xpcReply, "Pellam.XPCReply", std::nullopt, "The launcher service returned an invalid result."});
}

}  // namespace pellam
