#ifndef KZ_TESTS_SUPPORT_DECIMAL_COMMA_LOCALE_H
#define KZ_TESTS_SUPPORT_DECIMAL_COMMA_LOCALE_H

#include <locale.h>
#include <stdlib.h>

#include <filesystem>
#include <locale>
#include <optional>
#include <string>
#include <system_error>

/// Puts the whole process, C and C++ alike, under a locale that writes decimals with a comma, and
/// restores both locales at the end. The locale is built on the spot, since few machines that run
/// tests have one installed. Only for a test that runs no other thread meanwhile.
///
/// A test asserts `IsInForce()` and shows `Problem()`, so that it fails rather than passes under
/// the wrong locale.
class DecimalCommaLocale {
public:
    DecimalCommaLocale() : m_formerC(setlocale(LC_ALL, nullptr)), m_formerPath(ValueOf("LOCPATH")) {
        std::string directory = std::filesystem::temp_directory_path() / "decimal-comma-XXXXXX";
        if (mkdtemp(directory.data()) == nullptr) {
            m_problem = "cannot make a directory like " + directory;
            return;
        }
        m_directory = directory;
        const std::string command =
            "localedef -i de_DE -f UTF-8 '" + directory + "/" + kName + "' 2>&1 >/dev/null";
        const int exitStatus = system(command.c_str());
        setenv("LOCPATH", directory.c_str(), 1);
        PutInForce();
        m_isInForce = localeconv()->decimal_point == std::string(",");
        if (!m_isInForce)
            m_problem = "no decimal comma (" + command + ": " + std::to_string(exitStatus) +
                        "; is the package with the locale sources installed?)";
    }

    ~DecimalCommaLocale() {
        std::locale::global(m_formerCpp);
        setlocale(LC_ALL, m_formerC.c_str());
        if (m_formerPath)
            setenv("LOCPATH", m_formerPath->c_str(), 1);
        else
            unsetenv("LOCPATH");
        std::error_code ignored;
        if (!m_directory.empty()) std::filesystem::remove_all(m_directory, ignored);
    }

    DecimalCommaLocale(const DecimalCommaLocale&) = delete;
    DecimalCommaLocale& operator=(const DecimalCommaLocale&) = delete;

    bool IsInForce() const { return m_isInForce; }
    const std::string& Problem() const { return m_problem; }

private:
    static constexpr const char* kName = "de_DE.UTF-8";

    /// The C++ locale is made of a facet: one made from the name would have the C library keep a
    /// copy of LOCPATH for good.
    struct GermanPunctuation : std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\3"; }
    };

    static void PutInForce() {
        std::locale::global(std::locale(std::locale(), new GermanPunctuation));
        setlocale(LC_ALL, kName);
    }

    static std::optional<std::string> ValueOf(const char* variable) {
        const char* const value = getenv(variable);
        return value == nullptr ? std::nullopt : std::optional<std::string>(value);
    }

    const std::string m_formerC;
    const std::locale m_formerCpp;
    const std::optional<std::string> m_formerPath;
    std::filesystem::path m_directory;
    std::string m_problem;
    bool m_isInForce = false;
};

#endif
