include $(sort $(wildcard $(BR2_EXTERNAL_ZOR_PATH)/package/*/*.mk))
