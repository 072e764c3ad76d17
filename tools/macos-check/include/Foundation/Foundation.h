// Written for the check from the public documentation; no file of an SDK. See ../../FACTS.md.
#pragma once
#include <Foundation/Connections.h>
#include <Foundation/System.h>
#include <Foundation/Text.h>
#include <Foundation/Values.h>
