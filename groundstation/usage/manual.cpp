#include "groundstation/usage/manual.h"

#include <fmt/format.h>

#include <sstream>
#include <utility>

namespace groundstation {
namespace {

// Text as man(7) takes it: dashes that stay dashes, and no line that begins like a request.
std::string escaped(std::string_view text) {
  std::string result;
  bool line_begins = true;
  for (const char c : text) {
    if (line_begins && (c == '.' || c == '\'')) result += "\\&";
    line_begins = c == '\n';
    if (c == '\\') {
      result += "\\e";
    } else if (c == '-') {
      result += "\\-";
    } else {
      result += c;
    }
  }
  return result;
}

std::string upper(std::string text) {
  for (char& c : text) c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  return text;
}

// One page while it is written.
class Page {
 public:
  Page(const std::string& name, const std::string& version, const std::string& date)
      : text_(fmt::format(".TH {} 1 {} \"{}\" \"User Commands\"\n", escaped(upper(name)), date,
                          escaped(version))) {}

  void section(const std::string& title) { head(".SH", upper(title)); }
  void subsection(const std::string& title) { head(".SS", title); }

  // Paragraphs; lines that begin with a space stand as they are. A line that ends with a colon and
  // stands alone is a heading.
  void prose(const std::string& text) {
    std::istringstream lines(text);
    std::string paragraph;
    std::string table;
    for (std::string line; std::getline(lines, line);) {
      const bool literal = !line.empty() && line[0] == ' ';
      if (literal) {
        if (table.empty() && paragraph.find('\n') == paragraph.size() - 1 &&
            paragraph.ends_with(":\n")) {
          section(paragraph.substr(0, paragraph.size() - 2));
          paragraph.clear();
        }
        close_paragraph(&paragraph);
        table += line + "\n";
        continue;
      }
      close_table(&table);
      if (line.empty()) {
        close_paragraph(&paragraph);
      } else {
        paragraph += line + "\n";
      }
    }
    close_paragraph(&paragraph);
    close_table(&table);
  }

  void entry(const std::string& heading, const std::string& text) {
    text_ +=
        fmt::format(".TP\n.B {}\n{}\n", escaped(heading), escaped(text.empty() ? heading : text));
    fresh_ = false;
  }

  void line(const std::string& macro) {
    text_ += macro + "\n";
    fresh_ = false;
  }

  [[nodiscard]] std::string text() const { return text_; }

 private:
  void head(const char* macro, const std::string& title) {
    text_ += fmt::format("{} \"{}\"\n", macro, escaped(title));
    fresh_ = true;
  }
  void begin_paragraph() {
    if (!fresh_) text_ += ".PP\n";
    fresh_ = false;
  }
  void close_paragraph(std::string* paragraph) {
    if (paragraph->empty()) return;
    begin_paragraph();
    text_ += escaped(*paragraph);
    paragraph->clear();
  }
  void close_table(std::string* table) {
    if (table->empty()) return;
    begin_paragraph();
    text_ += ".nf\n" + escaped(*table) + ".fi\n";
    table->clear();
  }

  std::string text_;
  bool fresh_ = true;
};

void option_entries(Page* page, const std::vector<OptionRow>& options) {
  for (const OptionRow& option : options) {
    std::string text = option.about;
    if (!option.initial.empty()) text += fmt::format(" [{}]", option.initial);
    if (!option.environment.empty()) text += fmt::format(" (or from {})", option.environment);
    page->entry(option.heading(), text);
  }
}

// Usage, what it does, and what it takes.
void command_text(Page* page, const CommandRow& row, const std::string& program) {
  page->line(".B " + escaped(row.usage(program)));
  page->prose("\n" + row.about);
  option_entries(page, row.arguments);
  option_entries(page, row.options);
}

void environment(Page* page, const CommandRow& row) {
  bool first = true;
  for (const OptionRow& option : row.options) {
    if (option.environment.empty()) continue;
    if (std::exchange(first, false)) page->section("Environment");
    page->entry(option.environment, fmt::format("The same as {}.", option.names.back()));
  }
}

ManualPage command_page(const CommandRow& row, const std::string& program,
                        const std::string& version, const std::string& date) {
  const std::string name = program + "-" + row.name;
  Page page(name, version, date);
  page.section("Name");
  page.line(escaped(fmt::format("{} - {}", name, row.summary())));
  page.section("Description");
  command_text(&page, row, program);
  if (!row.commands.empty()) page.section("Commands");
  for (const CommandRow* below : every_command(row)) {
    if (below == &row) continue;
    page.subsection(below->path);
    command_text(&page, *below, program);
    if (!below->more.empty()) page.prose(below->more);
  }
  if (!row.more.empty()) {
    page.section("Notes");
    page.prose(row.more);
  }
  page.section("See also");
  page.line(fmt::format(".BR {} (1)", escaped(program)));
  return {name, page.text()};
}

}  // namespace

std::vector<ManualPage> manual_pages(const CommandRow& root, const std::string& program,
                                     const std::string& version, const std::string& date) {
  Page page(program, version, date);
  page.section("Name");
  page.line(escaped(fmt::format("{} - {}", program, root.summary())));
  page.section("Description");
  page.line(".B " + escaped(root.usage(program)));
  page.prose("\n" + root.about);
  page.section("Options");
  option_entries(&page, root.options);
  page.section("Commands");
  for (const CommandRow& row : root.commands) {
    page.entry(row.name, fmt::format("{}. See {}-{}(1).", row.summary(), program, row.name));
  }
  environment(&page, root);
  if (!root.more.empty()) {
    page.section("Notes");
    page.prose(root.more);
  }
  std::vector<ManualPage> pages{{program, page.text()}};
  for (const CommandRow& row : root.commands) {
    pages.push_back(command_page(row, program, version, date));
  }
  return pages;
}

}  // namespace groundstation
