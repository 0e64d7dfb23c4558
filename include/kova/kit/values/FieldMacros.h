#pragma once

// The macros with which KOVA_FIELDS and KOVA_ENUM expand each of their arguments.

#define KOVA_KIT_FIRST(...) KOVA_KIT_FIRST_(__VA_ARGS__, ~)
#define KOVA_KIT_FIRST_(first, ...) first
#define KOVA_KIT_CONCAT(a, b) KOVA_KIT_CONCAT_(a, b)
#define KOVA_KIT_CONCAT_(a, b) a##b
#define KOVA_KIT_TEXT(x) KOVA_KIT_TEXT_(x)
#define KOVA_KIT_TEXT_(x) #x
#define KOVA_KIT_UNWRAP(...) __VA_ARGS__

// ---- the items of KOVA_FIELDS

// A macro recognises an item such as `optional(x)` by its name: KOVA_KIT_FORM_optional(x) expands
// to additional arguments, so that KOVA_KIT_PICK does not select the arguments for a plain name.
#define KOVA_KIT_FORM_optional(...) ~, OPTIONAL, (__VA_ARGS__)
#define KOVA_KIT_FORM_as(...) ~, AS, (__VA_ARGS__)
#define KOVA_KIT_FORM_count(...) ~, COUNT, (__VA_ARGS__)
#define KOVA_KIT_FORM_base(...) ~, BASE, (__VA_ARGS__)
#define KOVA_KIT_FORM_strict() ~, STRICT, ()
#define KOVA_KIT_FORM_named(...) ~, NAMED, (__VA_ARGS__)

#define KOVA_KIT_FORM_fallback(...) ~, FALLBACK, (__VA_ARGS__)

#define KOVA_KIT_FIELD_(T, name) ::kova::kit::field(#name, &T::name)
#define KOVA_KIT_BASE_(T, ...) ::kova::kit::base<__VA_ARGS__>()
#define KOVA_KIT_NAMED_(T, name) ::kova::kit::named(name)
#define KOVA_KIT_APPLY(MACRO, ...) MACRO(__VA_ARGS__)
#define KOVA_KIT_CALL(MACRO, ...) MACRO(__VA_ARGS__)

// Expand an item of KOVA_FIELDS or KOVA_ENUM, and the items that are nested in it.
#define KOVA_KIT_ITEM(T, x) KOVA_KIT_PICK(T, KOVA_KIT_FORM_##x, PLAIN, (x), ~)
#define KOVA_KIT_PICK(...) KOVA_KIT_PICK_(__VA_ARGS__)
#define KOVA_KIT_PICK_(T, ignored, FORM, arguments, ...) \
    KOVA_KIT_AS_##FORM(T, KOVA_KIT_UNWRAP arguments)
#define KOVA_KIT_AS_PLAIN(...) KOVA_KIT_CALL(KOVA_KIT_FIELD_, __VA_ARGS__)
#define KOVA_KIT_AS_OPTIONAL(...) KOVA_KIT_NEST(optional, __VA_ARGS__)
#define KOVA_KIT_AS_COUNT(...) KOVA_KIT_NEST(count, __VA_ARGS__)
#define KOVA_KIT_AS_AS(...) KOVA_KIT_RENAME(__VA_ARGS__)
#define KOVA_KIT_NEST(word, T, x) ::kova::kit::word(KOVA_KIT_ITEM2(T, x))
#define KOVA_KIT_RENAME(T, name, x) ::kova::kit::as(name, KOVA_KIT_ITEM2(T, x))
#define KOVA_KIT_AS_BASE(...) KOVA_KIT_CALL(KOVA_KIT_BASE_, __VA_ARGS__)
#define KOVA_KIT_AS_STRICT(...) ::kova::kit::strict()
#define KOVA_KIT_AS_NAMED(...) KOVA_KIT_CALL(KOVA_KIT_NAMED_, __VA_ARGS__)

#define KOVA_KIT_ITEM2(T, x) KOVA_KIT_PICK2(T, KOVA_KIT_FORM_##x, PLAIN, (x), ~)
#define KOVA_KIT_PICK2(...) KOVA_KIT_PICK2_(__VA_ARGS__)
#define KOVA_KIT_PICK2_(T, ignored, FORM, arguments, ...) \
    KOVA_KIT_AS2_##FORM(T, KOVA_KIT_UNWRAP arguments)
#define KOVA_KIT_AS2_PLAIN(...) KOVA_KIT_CALL(KOVA_KIT_FIELD_, __VA_ARGS__)
#define KOVA_KIT_AS2_OPTIONAL(...) KOVA_KIT_NEST2(optional, __VA_ARGS__)
#define KOVA_KIT_AS2_COUNT(...) KOVA_KIT_NEST2(count, __VA_ARGS__)
#define KOVA_KIT_AS2_AS(...) KOVA_KIT_RENAME2(__VA_ARGS__)
#define KOVA_KIT_NEST2(word, T, x) ::kova::kit::word(KOVA_KIT_ITEM3(T, x))
#define KOVA_KIT_RENAME2(T, name, x) ::kova::kit::as(name, KOVA_KIT_ITEM3(T, x))

#define KOVA_KIT_ITEM3(T, x) KOVA_KIT_PICK3(T, KOVA_KIT_FORM_##x, PLAIN, (x), ~)
#define KOVA_KIT_PICK3(...) KOVA_KIT_PICK3_(__VA_ARGS__)
#define KOVA_KIT_PICK3_(T, ignored, FORM, arguments, ...) \
    KOVA_KIT_AS3_##FORM(T, KOVA_KIT_UNWRAP arguments)
#define KOVA_KIT_AS3_PLAIN(...) KOVA_KIT_CALL(KOVA_KIT_FIELD_, __VA_ARGS__)
#define KOVA_KIT_AS3_OPTIONAL(...) KOVA_KIT_NEST3(optional, __VA_ARGS__)
#define KOVA_KIT_AS3_COUNT(...) KOVA_KIT_NEST3(count, __VA_ARGS__)
#define KOVA_KIT_AS3_AS(...) KOVA_KIT_RENAME3(__VA_ARGS__)
#define KOVA_KIT_NEST3(word, T, x) ::kova::kit::word(KOVA_KIT_ITEM4(T, x))
#define KOVA_KIT_RENAME3(T, name, x) ::kova::kit::as(name, KOVA_KIT_ITEM4(T, x))

#define KOVA_KIT_ITEM4(T, x) KOVA_KIT_PICK4(T, KOVA_KIT_FORM_##x, PLAIN, (x), ~)
#define KOVA_KIT_PICK4(...) KOVA_KIT_PICK4_(__VA_ARGS__)
#define KOVA_KIT_PICK4_(T, ignored, FORM, arguments, ...) \
    KOVA_KIT_AS4_##FORM(T, KOVA_KIT_UNWRAP arguments)
#define KOVA_KIT_AS4_PLAIN(...) KOVA_KIT_CALL(KOVA_KIT_FIELD_, __VA_ARGS__)

// ---- the items of KOVA_ENUM

#define KOVA_KIT_ENUMERATOR(T, x) KOVA_KIT_PICK_ENUMERATOR(T, KOVA_KIT_FORM_##x, PLAIN, (x), ~)
#define KOVA_KIT_PICK_ENUMERATOR(...) KOVA_KIT_PICK_ENUMERATOR_(__VA_ARGS__)
#define KOVA_KIT_PICK_ENUMERATOR_(T, ignored, FORM, arguments, ...) \
    KOVA_KIT_ENUMERATOR_##FORM(T, KOVA_KIT_UNWRAP arguments)
#define KOVA_KIT_ENUMERATOR_PLAIN(...) KOVA_KIT_CALL(KOVA_KIT_ENUMERATOR_, __VA_ARGS__)
#define KOVA_KIT_ENUMERATOR_AS(...) KOVA_KIT_CALL(KOVA_KIT_ENUMERATOR_AS_, __VA_ARGS__)
#define KOVA_KIT_ENUMERATOR_FALLBACK(...) KOVA_KIT_CALL(KOVA_KIT_ENUMERATOR_FALLBACK_, __VA_ARGS__)
#define KOVA_KIT_ENUMERATOR_(T, name) ::kova::kit::enumerator(#name, T::name)
#define KOVA_KIT_ENUMERATOR_AS_(T, text, name) ::kova::kit::enumerator(text, T::name)
#define KOVA_KIT_ENUMERATOR_FALLBACK_(T, name) ::kova::kit::fallback(KOVA_KIT_ENUMERATOR_(T, name))

// ---- each argument

// Expands, for the arguments T, a, b, to `HEAD(T), MACRO(T, a), MACRO(T, b)` .
#define KOVA_KIT_EACH(MACRO, HEAD, ...) \
    HEAD(KOVA_KIT_FIRST(__VA_ARGS__))   \
    KOVA_KIT_APPLY(KOVA_KIT_CONCAT(KOVA_KIT_EACH_, KOVA_KIT_COUNT(__VA_ARGS__)), MACRO, __VA_ARGS__)
#define KOVA_KIT_TYPE_NAME(T) ::kova::kit::named(KOVA_KIT_TEXT(T))

// Expands to the number of its arguments after the first one, up to 64.
#define KOVA_KIT_COUNT(...)                                                                      \
    KOVA_KIT_COUNT_(__VA_ARGS__, 64, 63, 62, 61, 60, 59, 58, 57, 56, 55, 54, 53, 52, 51, 50, 49, \
                    48, 47, 46, 45, 44, 43, 42, 41, 40, 39, 38, 37, 36, 35, 34, 33, 32, 31, 30,  \
                    29, 28, 27, 26, 25, 24, 23, 22, 21, 20, 19, 18, 17, 16, 15, 14, 13, 12, 11,  \
                    10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0, ~)
#define KOVA_KIT_COUNT_(a0, a1, a2, a3, a4, a5, a6, a7, a8, a9, a10, a11, a12, a13, a14, a15, a16, \
                        a17, a18, a19, a20, a21, a22, a23, a24, a25, a26, a27, a28, a29, a30, a31, \
                        a32, a33, a34, a35, a36, a37, a38, a39, a40, a41, a42, a43, a44, a45, a46, \
                        a47, a48, a49, a50, a51, a52, a53, a54, a55, a56, a57, a58, a59, a60, a61, \
                        a62, a63, a64, count, ...)                                                 \
    count

#define KOVA_KIT_EACH_0(M, T)
#define KOVA_KIT_EACH_1(M, T, a) , M(T, a)
#define KOVA_KIT_EACH_2(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_1(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_3(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_2(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_4(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_3(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_5(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_4(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_6(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_5(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_7(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_6(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_8(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_7(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_9(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_8(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_10(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_9(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_11(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_10(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_12(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_11(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_13(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_12(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_14(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_13(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_15(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_14(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_16(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_15(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_17(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_16(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_18(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_17(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_19(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_18(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_20(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_19(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_21(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_20(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_22(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_21(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_23(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_22(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_24(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_23(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_25(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_24(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_26(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_25(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_27(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_26(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_28(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_27(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_29(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_28(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_30(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_29(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_31(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_30(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_32(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_31(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_33(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_32(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_34(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_33(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_35(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_34(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_36(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_35(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_37(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_36(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_38(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_37(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_39(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_38(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_40(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_39(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_41(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_40(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_42(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_41(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_43(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_42(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_44(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_43(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_45(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_44(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_46(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_45(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_47(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_46(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_48(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_47(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_49(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_48(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_50(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_49(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_51(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_50(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_52(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_51(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_53(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_52(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_54(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_53(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_55(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_54(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_56(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_55(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_57(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_56(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_58(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_57(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_59(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_58(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_60(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_59(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_61(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_60(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_62(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_61(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_63(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_62(M, T, __VA_ARGS__)
#define KOVA_KIT_EACH_64(M, T, a, ...) , M(T, a) KOVA_KIT_EACH_63(M, T, __VA_ARGS__)
