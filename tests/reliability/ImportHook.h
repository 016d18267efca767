#pragma once

namespace zebtest {

/**
 * Puts a function of the test's between a loaded library and one of the functions that it imports: only
 * that library's calls go there. The library must stay loaded; what was replaced stays so.
 */
class ImportHook {
public:
    /** library: a name by which it is loaded already. Throws std::runtime_error when it is not. */
    explicit ImportHook(const char* library);
    ~ImportHook();
    ImportHook(const ImportHook&) = delete;
    ImportHook& operator=(const ImportHook&) = delete;

    /** The function that was called so far; null when the library does not import that name. */
    void* replace(const char* symbol, void* replacement) const;

    template <class Function>
    Function* replace(const char* symbol, Function* replacement) const {
        return reinterpret_cast<Function*>(replace(symbol, reinterpret_cast<void*>(replacement)));
    }

private:
    void* mpLibrary;
};

} // namespace zebtest
