// The station's Bluetooth tests behind tapp_bt_active_test and
// tapp_bt_hci_test. Each fills the record's answer.
#pragma once

#include "ftm/tapp.h"

namespace bt {

// Powers the SoC, opens its port and brings it up: "00" done, "01" failed.
int bt_active(ftm::tapp_record *r);
// Sends the record's raw H4 packet; answers with the first event, or "00".
int bt_hci(ftm::tapp_record *r);

}  // namespace bt
