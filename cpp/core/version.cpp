// Placeholder translation unit so that the core library always has a source.
namespace marlox {
const char *core_version() { return "0.1.0"; }
}  // namespace marlox
