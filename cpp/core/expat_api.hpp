// The few expat declarations that the result scanner needs. The interpreter's own expat is
// reached through the function table that pyexpat exports (its "expat_CAPI" capsule); no
// expat header or library is used. The layout mirrors pyexpat.h of CPython 3.11 and 3.12;
// fields added later are optional and read only when the table says it is large enough.
#pragma once

#include <cstddef>

namespace marlox::expat {

struct ParserStruct;
using Parser = ParserStruct *;
using Char = char;  // expat as CPython builds it: UTF-8 output
using LChar = char;
using Size = unsigned long;
using Bool = unsigned char;

enum Status { STATUS_ERROR = 0, STATUS_OK = 1, STATUS_SUSPENDED = 2 };

// expat's enum XML_Error; only the values named here are used by the scanner itself.
enum Error { ERROR_NONE = 0, ERROR_NO_MEMORY = 1, ERROR_UNDEFINED_ENTITY = 11 };

struct MemoryHandlingSuite {
    void *(*malloc_fcn)(std::size_t size);
    void *(*realloc_fcn)(void *ptr, std::size_t size);
    void (*free_fcn)(void *ptr);
};

struct Encoding {
    int map[256];
    void *data;
    int (*convert)(void *data, const char *s);
    void (*release)(void *data);
};

using StartElementHandler = void (*)(void *user, const Char *name, const Char **atts);
using EndElementHandler = void (*)(void *user, const Char *name);
using CharacterDataHandler = void (*)(void *user, const Char *s, int len);
using CommentHandler = void (*)(void *user, const Char *data);
using DefaultHandler = void (*)(void *user, const Char *s, int len);
using StartNamespaceDeclHandler = void (*)(void *user, const Char *prefix, const Char *uri);
using EndNamespaceDeclHandler = void (*)(void *user, const Char *prefix);
using ProcessingInstructionHandler = void (*)(void *user, const Char *target, const Char *data);
using UnknownEncodingHandler = int (*)(void *data, const Char *name, Encoding *info);
using StartDoctypeDeclHandler = void (*)(void *user, const Char *name, const Char *sysid,
                                         const Char *pubid, int has_internal_subset);

// struct PyExpat_CAPI, field for field.
struct CApi {
    char *magic;
    int size;
    int MAJOR_VERSION;
    int MINOR_VERSION;
    int MICRO_VERSION;
    const LChar *(*ErrorString)(Error code);
    Error (*GetErrorCode)(Parser parser);
    Size (*GetErrorColumnNumber)(Parser parser);
    Size (*GetErrorLineNumber)(Parser parser);
    Status (*Parse)(Parser parser, const char *s, int len, int isFinal);
    Parser (*ParserCreate_MM)(const Char *encoding, const MemoryHandlingSuite *memsuite,
                              const Char *namespaceSeparator);
    void (*ParserFree)(Parser parser);
    void (*SetCharacterDataHandler)(Parser parser, CharacterDataHandler handler);
    void (*SetCommentHandler)(Parser parser, CommentHandler handler);
    void (*SetDefaultHandlerExpand)(Parser parser, DefaultHandler handler);
    void (*SetElementHandler)(Parser parser, StartElementHandler start, EndElementHandler end);
    void (*SetNamespaceDeclHandler)(Parser parser, StartNamespaceDeclHandler start,
                                    EndNamespaceDeclHandler end);
    void (*SetProcessingInstructionHandler)(Parser parser, ProcessingInstructionHandler handler);
    void (*SetUnknownEncodingHandler)(Parser parser, UnknownEncodingHandler handler,
                                      void *encodingHandlerData);
    void (*SetUserData)(Parser parser, void *userData);
    void (*SetStartDoctypeDeclHandler)(Parser parser, StartDoctypeDeclHandler start);
    Status (*SetEncoding)(Parser parser, const Char *encoding);
    int (*DefaultUnknownEncodingHandler)(void *encodingHandlerData, const Char *name,
                                         Encoding *info);
    int (*SetHashSalt)(Parser parser, unsigned long hash_salt);  // may be null
    // Newer than CPython 3.11.0: present only when `size` covers it, and may be null.
    Bool (*SetReparseDeferralEnabled)(Parser parser, Bool enabled);
};

inline constexpr const char *kCapiMagic = "pyexpat.expat_CAPI 1.1";
inline constexpr const char *kCapsuleName = "pyexpat.expat_CAPI";
// The table up to and including SetHashSalt: what CPython 3.11.0 already exports.
inline constexpr int kCapiMinimumSize = (int)offsetof(CApi, SetReparseDeferralEnabled);

// What the scanner needs besides the table: how the host handles encodings that expat does not
// know itself (the host's handler may need the interpreter; the binding wraps it), and the hash
// salt the host gives its own parsers.
struct Host {
    const CApi *api = nullptr;
    UnknownEncodingHandler unknown_encoding = nullptr;
    void *unknown_encoding_data = nullptr;
    bool has_hash_salt = false;
    unsigned long hash_salt = 0;
};

}  // namespace marlox::expat
