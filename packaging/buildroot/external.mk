# SPDX-License-Identifier: MIT
include $(sort $(wildcard $(BR2_EXTERNAL_ORVEX_PATH)/package/*/*.mk))
