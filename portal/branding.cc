#include "portal/branding.h"

#include <dirent.h>
#include <openssl/evp.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <memory>
#include <optional>
#include <stdexcept>

#include "common/file.h"
#include "common/text_line.h"
#include "portal/page_style.h"

namespace webauth {
namespace {

// Bytes. Everything but the settings goes into every page, and a page stays in memory while a
// browser does not read it.
constexpr std::size_t CONFIG_LIMIT = 4096;
constexpr std::size_t TEXTS_LIMIT = 16384;
constexpr std::size_t TERMS_LIMIT = 8192;
constexpr std::size_t LOGO_LIMIT = 16384;
constexpr std::size_t PAGE_LIMIT = 32768;
constexpr std::size_t MOST_LANGUAGES = 32;
constexpr int LONGEST_DELAY = 600;

struct Loader {
  std::string folder;
  Branding branding;
  PageColours colours;
  std::string logo;

  void complain(const std::string& what) { branding.complaints.push_back(folder + '/' + what); }
};

// Nothing for a file that is not there; what cannot be used is told.
std::optional<std::string> read_file(Loader& loader, const std::string& name, std::size_t limit) {
  const std::string path = loader.folder + '/' + name;
  errno = 0;  // which stays for what is no file
  const File file = open_for_reading(path.c_str());
  std::string text;
  if (file && read_whole(fileno(file.get()), text, limit)) return text;
  if (errno == ENOENT || errno == ENOTDIR) return {};
  loader.complain(name + (errno == EFBIG ? " is larger than " + std::to_string(limit) + " bytes"
                                         : std::string(" cannot be read")));
  return {};
}

// Calls `take` with key and value of each KEY = VALUE line; "#" begins a comment.
template <typename Take>
void for_each_setting(std::string_view text, Take take) {
  constexpr std::string_view BLANKS = " \t\r";
  while (!text.empty()) {
    const std::string_view line = trimmed(take_line(text), BLANKS);
    if (line.empty() || line[0] == '#') continue;
    const std::size_t sign = std::min(line.find('='), line.size());
    take(trimmed(line.substr(0, sign), BLANKS),
         trimmed(line.substr(std::min(sign + 1, line.size())), BLANKS));
  }
}

bool set_colour(std::uint32_t& colour, std::string_view value) {
  const auto read = read_colour(value);
  if (read) colour = *read;
  return read.has_value();
}

bool set_switch(bool& on, std::string_view value) {
  on = value == "on";
  return on || value == "off";
}

bool set_delay(int& seconds, std::string_view value) {
  int number = 0;
  const char* const end = value.data() + value.size();
  const auto [next, error] = std::from_chars(value.data(), end, number);
  if (error != std::errc{} || next != end || number < 0 || number > LONGEST_DELAY) return false;
  seconds = number;
  return true;
}

bool set_link(std::string& link, std::string_view value) {
  if (!value.starts_with("https://") && !value.starts_with("http://")) return false;
  link = value;
  return true;
}

bool set_key(Loader& loader, std::string_view key, std::string_view value) {
  if (key == "title") return !(loader.branding.title = value).empty();
  if (key == "accent") return set_colour(loader.colours.accent, value);
  if (key == "background") return set_colour(loader.colours.background, value);
  if (key == "dark_accent") return set_colour(loader.colours.dark_accent, value);
  if (key == "dark_background") return set_colour(loader.colours.dark_background, value);
  if (key == "terms") return set_switch(loader.branding.terms, value);
  if (key == "link") return set_link(loader.branding.link, value);
  if (key == "advert_seconds") return set_delay(loader.branding.advert_seconds, value);
  return false;
}

void load_config(Loader& loader) {
  const auto text = read_file(loader, "portal.conf", CONFIG_LIMIT);
  if (!text) return;
  for_each_setting(*text, [&](std::string_view key, std::string_view value) {
    if (!set_key(loader, key, value)) {
      loader.complain("portal.conf: not understood: " + std::string(key.substr(0, 40)));
    }
  });
}

// A picture as a data: address; empty when the file is none.
std::string read_picture(Loader& loader, const std::string& name, const std::string& type,
                         bool (*is_picture)(std::string_view)) {
  const auto file = read_file(loader, name, LOGO_LIMIT);
  if (!file) return {};
  if (!is_picture(*file)) {
    loader.complain(name + " is no such picture");
    return {};
  }
  std::string encoded(file->size() / 3 * 4 + 5, '\0');
  const int size = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(encoded.data()),
                                   reinterpret_cast<const unsigned char*>(file->data()),
                                   static_cast<int>(file->size()));
  encoded.resize(static_cast<std::size_t>(size));
  return "data:" + type + ";base64," + encoded;
}

void load_logo(Loader& loader) {
  loader.logo = read_picture(loader, "logo.png", "image/png", [](std::string_view text) {
    return text.starts_with("\x89PNG\r\n\x1a\n");
  });
  if (!loader.logo.empty()) return;
  loader.logo = read_picture(loader, "logo.svg", "image/svg+xml", [](std::string_view text) {
    return text.find("<svg") != std::string_view::npos;
  });
}

bool is_tag(std::string_view text) {
  return !text.empty() && text.size() <= 16 && std::all_of(text.begin(), text.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-';
  });
}

// The language of a tag; a new one begins as English.
Language* language_of(Loader& loader, std::string_view tag) {
  auto& languages = loader.branding.languages;
  const auto found = std::find_if(languages.begin(), languages.end(),
                                  [&](const Language& language) { return language.tag == tag; });
  if (found != languages.end()) return &*found;
  if (languages.size() == MOST_LANGUAGES) return nullptr;
  languages.push_back(languages.front());
  languages.back().tag = tag;
  return &languages.back();
}

void set_texts(Loader& loader, Language& language, const std::string& name, std::string_view text) {
  for_each_setting(text, [&](std::string_view key, std::string_view value) {
    if (const auto which = find_text(key)) {
      language.texts[static_cast<std::size_t>(*which)] = value;
    } else {
      loader.complain(name + ": no such text: " + std::string(key.substr(0, 40)));
    }
  });
}

void load_language_file(Loader& loader, const std::string& name) {
  const std::size_t dot = name.find('.');
  const std::string kind = name.substr(0, dot);
  if (dot == std::string::npos || (kind != "texts" && kind != "terms" && kind != "notice")) return;
  const std::string tag = name.substr(dot + 1);
  const auto text = read_file(loader, name, kind == "texts" ? TEXTS_LIMIT : TERMS_LIMIT);
  if (!text) return;
  Language* language = is_tag(tag) ? language_of(loader, tag) : nullptr;
  if (language == nullptr) return loader.complain(name + " is of no language, or of one too many");
  if (kind == "texts") set_texts(loader, *language, name, *text);
  if (kind == "terms") language->terms = *text;
  if (kind == "notice") language->notice = *text;
}

struct FolderCloser {
  void operator()(DIR* folder) const { closedir(folder); }
};

void load_languages(Loader& loader) {
  const std::unique_ptr<DIR, FolderCloser> folder(opendir(loader.folder.c_str()));
  if (!folder) return;
  std::vector<std::string> names;
  while (const dirent* entry = readdir(folder.get())) names.emplace_back(entry->d_name);
  std::sort(names.begin(), names.end());
  // English first, since a new language begins as a copy of it.
  std::stable_partition(names.begin(), names.end(),
                        [](const std::string& name) { return name.ends_with(".en"); });
  for (const std::string& name : names) load_language_file(loader, name);
}

// What a language lacks is English, or in the language that has it.
void spread(std::vector<Language>& languages, std::string Language::*text) {
  const auto has = [&](const Language& language) { return !(language.*text).empty(); };
  const auto source = std::find_if(languages.begin(), languages.end(), has);
  if (source == languages.end()) return;
  const std::string copy = (*source).*text;
  for (Language& language : languages) {
    if (!has(language)) language.*text = copy;
  }
}

}  // namespace

Branding load_branding(const std::string& folder) {
  Loader loader{.folder = folder, .branding{}, .colours{}, .logo{}};
  Branding& branding = loader.branding;
  branding.languages = built_in_languages();
  load_config(loader);
  load_logo(loader);
  load_languages(loader);
  spread(branding.languages, &Language::terms);
  spread(branding.languages, &Language::notice);
  std::string text = page_text(loader.colours, loader.logo, branding.advert_seconds);
  const std::size_t complaints = branding.complaints.size();
  auto own = read_file(loader, "page.html", PAGE_LIMIT);
  if (branding.complaints.size() > complaints) {
    throw std::runtime_error(branding.complaints.back());
  }
  if (own) text = std::move(*own);
  std::erase(text, '\r');  // as browsers do before they take the hash of a style
  branding.page = read_template(text, !own);
  if (!has_form(branding.page)) throw std::runtime_error(folder + "/page.html has no {{form}}");
  branding.policy = security_policy(text);
  return std::move(loader.branding);
}

}  // namespace webauth
