#pragma once

// Every error that the public operations throw. Each is one line in what(), and a domain and a code in
// bridged(); none is ever reused for something else. A cancellation is OperationCancelled and no failure.
#include "pellam/bridged_error.h"
#include "pellam/cancellation.h"
#include "pellam/feed_parser_error.h"
#include "pellam/host_errors.h"
#include "pellam/installer_error.h"
#include "pellam/installer_error_text.h"
#include "pellam/url_loading_error.h"
