/* The English texts of the localised strings: compiled into the POSIX build and included by the
   satellite module's resource script, so that both always say the same. Plain one-line #define
   lines only, because the resource compiler reads this file too and does not join adjacent
   strings. ASCII only, and no percent sign: a failure message is also written to the log, which
   reads it as a format. */
#pragma once

// clang-format off
#define TX_TEXT_EN_101 "Add to Tessarix"
#define TX_TEXT_EN_102 "Create Tessarix notes from the selected Outlook items"
#define TX_TEXT_EN_107 "The Tessarix desktop application is not running. Please start Tessarix and try clipping again."
#define TX_TEXT_EN_108 "The Tessarix desktop application did not accept the clip or did not answer. Please make sure that Tessarix is running and not busy, then try clipping again."
#define TX_TEXT_EN_110 "Tessarix could not receive the clip. Please try clipping again."
#define TX_TEXT_EN_111 "There is nothing to send to Tessarix."
// clang-format on
