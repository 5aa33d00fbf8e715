/* The configuration file: read whole, parsed into a table of its own, and put in place only when every row is
 * good. */
#include "host/interfaces/interface_table.h"

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

static constexpr size_t FILE_MAX = 16 << 20;
static constexpr uint32_t VLAN_MAX = 4095;
static constexpr int TYPE_MAX = 255;

/* The words of a row that are still to be read. */
struct row_words {
    std::string_view rest;
};

static std::string_view take_word(row_words *words) {
    constexpr std::string_view blanks = " \t\r";
    const size_t begin = words->rest.find_first_not_of(blanks);
    if (begin == std::string_view::npos) {
        words->rest = {};
        return {};
    }
    words->rest.remove_prefix(begin);
    const size_t length = words->rest.find_first_of(blanks);
    const std::string_view word = words->rest.substr(0, length);
    words->rest.remove_prefix(word.size());
    return word;
}

static bool word_number(std::string_view word, uint32_t most, uint32_t *out) {
    char text[16];
    if (word.empty() || word.size() >= sizeof text || !std::isdigit(static_cast<unsigned char>(word[0])))
        return false;
    std::memcpy(text, word.data(), word.size());
    text[word.size()] = '\0';
    char *end;
    const bool hex = text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    const unsigned long long number = std::strtoull(text, &end, hex ? 16 : 10);
    if (*end != '\0' || number > most) return false;
    *out = static_cast<uint32_t>(number);
    return true;
}

static int hex_digit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

static bool word_mac(std::string_view word, uint8_t mac[6]) {
    if (word.size() != 17) return false;
    for (size_t i = 0; i < 6; i++) {
        const int high = hex_digit(word[3 * i]), low = hex_digit(word[3 * i + 1]);
        if (high < 0 || low < 0 || (i < 5 && word[3 * i + 2] != ':')) return false;
        mac[i] = static_cast<uint8_t>(high << 4 | low);
    }
    return true;
}

static bool word_name(std::string_view word, char name[IF_NAME_MAX]) {
    if (word.empty() || word.size() >= IF_NAME_MAX) return false;
    std::memcpy(name, word.data(), word.size());
    name[word.size()] = '\0';
    return true;
}

static bool parse_interface(row_words *words, interface_table *table) {
    interface_row row{};
    if (!word_number(take_word(words), UINT32_MAX, &row.if_index) || row.if_index == 0 ||
        !word_name(take_word(words), row.name))
        return false;
    row.type = interface_rule_type(row.if_index);
    for (std::string_view key; !(key = take_word(words)).empty();) {
        const std::string_view value = take_word(words);
        uint32_t type = 0;
        if (key == "mac") row.has_mac = true;
        if (!(key == "type"  ? word_number(value, TYPE_MAX, &type)
              : key == "vdc" ? word_number(value, UINT16_MAX, &row.vdc_id)
              : key == "mac" ? word_mac(value, row.mac)
                             : false))
            return false;
        if (key == "type") row.type = static_cast<int>(type);
    }
    interface_table_set(table, row);
    return true;
}

static bool parse_context(row_words *words, interface_table *table) {
    l3vm_context_info row{};
    if (!word_number(take_word(words), UINT16_MAX, &row.vdc_id) || row.vdc_id == 0 ||
        !word_name(take_word(words), row.name))
        return false;
    for (std::string_view key; !(key = take_word(words)).empty();) {
        const std::string_view value = take_word(words);
        if (!(key == "ipv4"   ? word_number(value, UINT32_MAX, &row.ipv4_table)
              : key == "ipv6" ? word_number(value, UINT32_MAX, &row.ipv6_table)
                              : false))
            return false;
    }
    interface_table_set(table, row);
    return true;
}

static bool parse_bridge_domain(row_words *words, interface_table *table) {
    bridge_domain_row row{};
    if (!word_number(take_word(words), UINT16_MAX, &row.vdc_id) || row.vdc_id == 0 ||
        !word_number(take_word(words), VLAN_MAX, &row.vlan) ||
        !word_number(take_word(words), UINT32_MAX, &row.bridge_domain) || !take_word(words).empty())
        return false;
    interface_table_set(table, row);
    return true;
}

static bool parse_row(std::string_view line, interface_table *table) {
    row_words words{line.substr(0, line.find('#'))};
    const std::string_view kind = take_word(&words);
    if (kind.empty()) return true;
    if (kind == "interface") return parse_interface(&words, table);
    if (kind == "context") return parse_context(&words, table);
    if (kind == "bridge-domain") return parse_bridge_domain(&words, table);
    return false;
}

static int parse_table(std::string_view text, interface_table *table, uint32_t *line_number) {
    uint32_t number = 0;
    while (!text.empty()) {
        number++;
        const size_t end = text.find('\n');
        if (!parse_row(text.substr(0, end), table)) {
            if (line_number != nullptr) *line_number = number;
            return EBADMSG;
        }
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return 0;
}

int interfaces_parse(const char *text, size_t size, uint32_t *line) {
    interface_table fresh;
    const int err = parse_table({text, size}, &fresh, line);
    if (err == 0) interfaces_table = std::move(fresh);
    return err;
}

static int read_file(const char *path, std::string *out) {
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return errno;
    char chunk[4096];
    ssize_t n;
    while ((n = read(fd, chunk, sizeof chunk)) > 0 && out->size() <= FILE_MAX)
        out->append(chunk, static_cast<size_t>(n));
    const int err = n < 0 ? errno : out->size() > FILE_MAX ? EFBIG : 0;
    close(fd);
    return err;
}

int interfaces_load(const char *path, uint32_t *line) {
    std::string text;
    if (line != nullptr) *line = 0;
    int err = read_file(path, &text);
    if (err == 0) err = interfaces_parse(text.data(), text.size(), line);
    if (err == 0 && interfaces_path != path) interfaces_path = path;
    return err;
}
