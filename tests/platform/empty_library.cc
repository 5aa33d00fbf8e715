/* A shared object that is no platform library. */
extern "C" void lcfwd_platform_api_init(void *, int) {}
