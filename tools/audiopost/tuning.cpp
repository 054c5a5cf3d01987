// audiopost tuning: write, read and check tuning records.
#include <cstdio>
#include <memory>

#include "host/check.h"
#include "host/diff.h"
#include "host/eq_text.h"
#include "host/file.h"
#include "host/tuning.h"
#include "json.h"
#include "load.h"

namespace audiopost {
namespace {

using host::Record;

// ---- Shared ----------------------------------------------------------------------------------------
// What every command may be given; each uses its own.
struct Options {
  std::string file, other, out = "-", preset = "music", into;
  int block = kBlock, channel = -1;
  bool json = false, strict = false, force = false;
};

void print(const std::string& text) { host::write_file("-", text); }

void print_note(const std::string& file, const std::string& text) {
  std::fprintf(stderr, "audiopost: %s: %s\n", file.c_str(), text.c_str());
}

bool ends_with(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// As the ending says: 2000 bytes for .bin, else text.
void write_tuning(const std::string& path, const Record& record) {
  if (ends_with(path, ".bin"))
    host::save_record(path, record);
  else
    host::write_file(path, host::to_text(record));
}

// ---- Commands --------------------------------------------------------------------------------------
void create(const Options& o) {
  if (ends_with(o.out, ".bin"))
    host::save_record(o.out, host::preset(o.preset));
  else
    host::write_file(o.out, host::preset_text(o.preset));
}

struct Look {
  const char *name, *color;
};
Look look_of(host::Severity severity) {
  switch (severity) {
    case host::Severity::note:
      return {"note", "\033[36m"};
    case host::Severity::warning:
      return {"warning", "\033[33m"};
    case host::Severity::unstable:
      return {"unstable", "\033[31m"};
    case host::Severity::fatal:
      break;
  }
  return {"fatal", "\033[31m"};
}

// By the rules of process: a record that is refused is written with --force alone. What else there is to say goes to
// standard error once the record is there.
template <class Write>
void write_checked(const Tuning& tuning, int block, bool force, Write write) {
  const std::vector<host::Finding> findings = host::check(tuning.record, block);
  if (!force) {
    if (const host::Finding* f = host::refusal(findings))
      throw Failure(refusal_text(tuning, *f, block) + " (--force writes it all the same)");
  }
  write();
  for (const host::Finding& f : findings)
    print_note(tuning.name, std::string(look_of(f.severity).name) + ": " + f.where + ": " + f.text);
}

void build(const Options& o) {
  const Tuning tuning = load_tuning(o.file);
  write_checked(tuning, o.block, o.force, [&] { host::save_record(o.out, tuning.record); });
}

void check(const Options& o, Context& context) {
  const std::vector<host::Finding> findings = host::check(load_tuning(o.file).record, o.block);
  std::string text;
  std::vector<std::string> items;
  for (const host::Finding& f : findings) {
    const Look look = look_of(f.severity);
    items.push_back(json::object({{"severity", json::string(look.name)},
                                  {"where", json::string(f.where)},
                                  {"text", json::string(f.text)},
                                  {"message", f.message.empty() ? "null" : json::string(f.message)},
                                  {"index", std::to_string(f.cause.index[0])},
                                  {"noise_dbfs", json::number(double{f.cause.noise_dBFS}, 1)}}));
    text += (context.color ? look.color + std::string(look.name) + "\033[0m" : look.name) + ": " + f.where +
            ": " + f.text + "\n";
  }
  const bool refused = host::refusal(findings);
  if (o.json)
    print(json::object({{"usable", refused ? "false" : "true"}, {"findings", json::array(items)}}) + "\n");
  else
    print(findings.empty() ? "nothing to remark\n" : text);
  context.exit_code = refused || (o.strict && !findings.empty()) ? 1 : 0;
}

void compare(const Options& o, Context& context) {
  const std::vector<host::Difference> differences =
      host::diff(load_tuning(o.file).record, load_tuning(o.other).record);
  std::string text;
  std::vector<std::string> items;
  for (const host::Difference& d : differences) {
    items.push_back(json::object({{"where", json::string(d.where)},
                                  {"field", json::string(d.field)},
                                  {"from", json::string(d.from)},
                                  {"to", json::string(d.to)}}));
    text += d.where + ": " + d.field + ": " + d.from + " -> " + d.to + "\n";
  }
  print(o.json ? json::array(items) + "\n" : text);
  context.exit_code = differences.empty() ? 0 : 1;
}

void import_eq(const Options& o) {
  Tuning tuning = load_tuning(o.into.empty() ? "flat" : o.into);
  const std::string name = o.file == "-" ? "standard input" : o.file;
  const std::string text = host::read_file(o.file, size_t{1} << 20);
  const std::vector<std::string> notes = host::import_eq(tuning.record, text, name, o.channel);
  if (o.into.empty()) tuning.name = name;
  const int block = longest_block(tuning.record, kBlock);  // filters do not care
  write_checked(tuning, block, o.force, [&] {
    write_tuning(o.out, tuning.record);
    for (const std::string& note : notes) std::fprintf(stderr, "audiopost: %s\n", note.c_str());
  });
}

void export_eq(const Options& o) {
  const Record record = load_tuning(o.file).record;
  std::vector<std::string> left_out;
  const std::string text = host::export_eq(record, o.channel < 0 ? 0 : o.channel, left_out);
  for (const std::string& note : left_out) print_note(o.file, "left out: " + note);
  host::write_file(o.out, text);
}

}  // namespace

// ---- The command group -----------------------------------------------------------------------------
void add_tuning(CLI::App& app, Context& context) {
  CLI::App* const tuning = app.add_subcommand("tuning", "Write, read and check tuning records");
  tuning->require_subcommand(1);
  const auto o = std::make_shared<Options>();
  const auto command = [&](const char* name, const char* about) {
    return tuning->add_subcommand(name, about);
  };
  const auto file = [&](CLI::App* c, const char* name, std::string& to, const char* about) {
    c->add_option(name, to, about)->required();
  };
  const auto out = [&](CLI::App* c, const char* about) {
    c->add_option("-o,--output", o->out, about)->type_name("OUT")->capture_default_str();
  };
  const auto block = [&](CLI::App* c) {
    c->add_option("--block", o->block, "Frames in each block that the chain is given")
        ->check(CLI::Range(1, 1 << 20))
        ->type_name("N")
        ->capture_default_str();
  };
  const auto force = [&](CLI::App* c) {
    c->add_flag("--force", o->force, "Write a record that process would refuse, too");
  };
  const auto json = [&](CLI::App* c) { c->add_flag("--json", o->json, "Print JSON"); };
  const auto channel = [&](CLI::App* c, const char* about) {
    c->add_option("--channel", o->channel, about)->check(CLI::Range(0, 1))->type_name("N");
  };
  const char* const kText = "Where to write; 2000 bytes if it ends in .bin, else text";
  const char* const kTuning =
      "Tuning: a file (TOML text or 2000 bytes), - for standard input, or a preset's name";

  CLI::App* c = command("new", "Print a preset as text, to start from");
  c->add_option("--preset", o->preset, "music, speech, night, tv or flat")
      ->check(CLI::IsMember(host::preset_names()))
      ->type_name("NAME")
      ->capture_default_str();
  out(c, kText);
  c->callback([o] { create(*o); });

  c = command("show", "Print a record as text");
  file(c, "TUNING", o->file, kTuning);
  c->callback([o] { print(host::to_text(load_tuning(o->file).record)); });

  c = command("build", "Write the 2000 bytes that the chain reads");
  file(c, "TUNING", o->file, kTuning);
  c->add_option("-o,--output", o->out, "Where to write the record")->type_name("OUT")->required();
  block(c);
  force(c);
  c->footer("Exit code 2, and nothing is written, for a record that process would refuse.");
  c->callback([o] { build(*o); });

  c = command(
      "check",
      "Tell what the chain would truncate, clamp, ignore, complain about, blow up or end the process on");
  file(c, "TUNING", o->file, kTuning);
  block(c);
  json(c);
  c->add_flag("--strict", o->strict, "Exit code 1 for remarks and warnings, too");
  c->footer(
      "Exit code 1 for what process refuses: the chain would end the process, AudioPost_Init fail, or what "
      "comes "
      "out be no sound.");
  c->callback([o, &context] { check(*o, context); });

  c = command("diff", "Tell two tunings apart, in effects and units");
  file(c, "A", o->file, kTuning);
  file(c, "B", o->other, kTuning);
  json(c);
  c->footer("Exit code 1 when they differ.");
  c->callback([o, &context] { compare(*o, context); });

  c = command("import-eq", "Read parametric-EQ text into EQ10");
  file(c, "FILE", o->file, "Filter text: Preamp and Filter lines, - for standard input");
  c->add_option("--into", o->into, "Tuning to put the filters into; else all other effects are off")
      ->type_name("TUNING");
  channel(c, "Only this channel, 0 or 1; else all");
  out(c, kText);
  force(c);
  c->callback([o] { import_eq(*o); });

  c = command("export-eq", "Write EQ10 as parametric-EQ text");
  file(c, "TUNING", o->file, kTuning);
  channel(c, "Which channel, 0 or 1; else 0");
  out(c, "Where to write");
  c->callback([o] { export_eq(*o); });
}

}  // namespace audiopost
