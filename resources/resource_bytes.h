// The bytes of the module's PiPL (plug-in property list) and AETE
// (terminology) resources, built from the script tables so that the
// resources, the descriptor code and the tests can't drift apart.
//
// Both use the Windows resource conventions: a leading 16-bit word 1,
// little-endian numbers, and four-character codes stored byte-reversed
// (the key 'EDky' stands as the bytes "ykDE").
#pragma once

#include <cstdint>
#include <vector>

constexpr int PLUGIN_RESOURCE_ID = 16000;
constexpr int PLUGIN_RESOURCE_LANGUAGE = 1033;  // English (United States)

// What the host shows and files the filter under.
constexpr const char* PLUGIN_MENU_NAME = "Marrowline...";
constexpr const char* PLUGIN_CATEGORY = "Quellfire";
// The terminology's suite and its one event.
constexpr const char* TERM_SUITE_NAME = "Quellfire";
constexpr const char* TERM_SUITE_DESCRIPTION = "Marrowline";
constexpr const char* TERM_EVENT_NAME = "Marrowline";
constexpr const char* TERM_EVENT_DESCRIPTION = "Enhances edges";
constexpr const char* TERM_SCOPE = "Quellfire Marrowline";
// The host's enabling condition: grey scale and RGB at 8 and 16 bits.
constexpr const char* PLUGIN_ENABLE_CONDITION =
    "in (PSHOP_ImageMode, RGBMode, GrayScaleMode, RGB48Mode, Gray16Mode) ";

std::vector<uint8_t> buildPiPL();
std::vector<uint8_t> buildAETE();
