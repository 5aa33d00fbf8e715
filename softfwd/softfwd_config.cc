#include "softfwd/softfwd_config.h"

static softfwd_config settings;

softfwd_config *softfwd_config_get() { return &settings; }

void softfwd_config_reset() { settings = softfwd_config{}; }
