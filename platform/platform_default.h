/* platform/platform_default.h: defaults of table slots: functions of any signature that do no work and return a fixed
 * value. Inside platform/ only. */
#pragma once

template <auto value, typename slot> struct platform_default;

template <auto value, typename... args> struct platform_default<value, void (*)(args...)> {
    static void call(args...) {}
};

template <auto value, typename result, typename... args> struct platform_default<value, result (*)(args...)> {
    static result call(args...) { return static_cast<result>(value); }
};

/* Stores the default that returns 'value' in a slot. */
template <auto value, typename slot> constexpr void platform_default_set(slot *at) {
    *at = platform_default<value, slot>::call;
}

/* The same for several slots. */
template <auto value, typename... slots> constexpr void platform_defaults_set(slots *...at) {
    (platform_default_set<value>(at), ...);
}
