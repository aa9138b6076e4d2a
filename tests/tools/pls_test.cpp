// speechcommon dict import-pls and export-pls, on lexicons written by hand in the manner of the
// W3C recommendation's own examples.
#include <gtest/gtest.h>

#include <map>
#include <pugixml.hpp>

#include "tools/run_tool.h"

namespace {

using namespace tooltest;

constexpr const char *kEnglish = R"(<?xml version="1.0" encoding="UTF-8"?>
<lexicon version="1.0"
      xmlns="http://www.w3.org/2005/01/pronunciation-lexicon"
      xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance"
      xsi:schemaLocation="http://www.w3.org/2005/01/pronunciation-lexicon
        http://www.w3.org/TR/2008/REC-pronunciation-lexicon-20081014/pls.xsd"
      alphabet="ipa" xml:lang="en-US">
  <metadata><title>Example</title></metadata>
  <lexeme>
    <grapheme>judgment</grapheme>
    <grapheme>judgement</grapheme>
    <phoneme>ˈdʒʌdʒ.mənt</phoneme>
  </lexeme>
  <lexeme>
    <grapheme>tomato</grapheme>
    <phoneme>təˈmeɪtoʊ</phoneme>
    <phoneme prefer="true">təˈmɑːtoʊ</phoneme>
  </lexeme>
  <lexeme>
    <grapheme>W3C</grapheme>
    <alias>World Wide Web Consortium</alias>
  </lexeme>
  <lexeme>
    <grapheme>UN</grapheme>
    <alias>United Nations</alias>
    <alias prefer="true">U.N.</alias>
  </lexeme>
  <lexeme role="claws:VVI claws:VV0">
    <grapheme>read</grapheme>
    <phoneme>ɹiːd</phoneme>
    <example>I will read the book.</example>
  </lexeme>
  <lexeme>
    <grapheme>Newton</grapheme>
    <phoneme>ˈnjuːtən</phoneme>
    <phoneme alphabet="x-sampa">"nju:t@n</phoneme>
  </lexeme>
</lexicon>
)";

// The same namespace under a prefix, in another language.
constexpr const char *kFrench = R"(<?xml version="1.0" encoding="UTF-8"?>
<pls:lexicon version="1.0" xmlns:pls="http://www.w3.org/2005/01/pronunciation-lexicon"
    alphabet="x-sampa" xml:lang="fr-FR">
  <pls:lexeme><pls:grapheme>café</pls:grapheme><pls:phoneme>ka"fe</pls:phoneme></pls:lexeme>
</pls:lexicon>
)";

// Every grapheme of a lexicon with its phonemes ("alphabet:text", preferred first) and
// aliases (preferred first): what an import and export must keep.
std::map<std::string, std::vector<std::string>> Content(const std::string &xml) {
  pugi::xml_document document;
  EXPECT_TRUE(document.load_string(xml.c_str())) << xml;
  const pugi::xml_node lexicon = document.document_element();
  const std::string alphabet = lexicon.attribute("alphabet").value();
  std::map<std::string, std::vector<std::string>> content;
  for (const pugi::xml_node lexeme : lexicon.children("lexeme")) {
    std::vector<std::string> preferred, others, aliases, preferredAliases;
    for (const pugi::xml_node phoneme : lexeme.children("phoneme")) {
      const std::string own = phoneme.attribute("alphabet").value();
      (phoneme.attribute("prefer").as_bool() ? preferred : others)
          .push_back((own.empty() ? alphabet : own) + ":" + phoneme.text().get());
    }
    for (const pugi::xml_node alias : lexeme.children("alias"))
      (alias.attribute("prefer").as_bool() ? preferredAliases : aliases)
          .push_back(std::string("alias:") + alias.text().get());
    preferred.insert(preferred.end(), others.begin(), others.end());
    preferred.insert(preferred.end(), preferredAliases.begin(), preferredAliases.end());
    preferred.insert(preferred.end(), aliases.begin(), aliases.end());
    for (const pugi::xml_node grapheme : lexeme.children("grapheme"))
      content[grapheme.text().get()] = preferred;
  }
  return content;
}

TEST(Pls, ImportMapsLexemesToEntriesAndReportsWhatItCannotCarry) {
  TempDir dir;
  const std::string english = dir.Write("english.pls", kEnglish);
  const ToolRun run = RunTool({"dict", "import-pls", english, "-o", dir.Path("en.img")});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_TRUE(Has(run.out, "6 lexemes from 1 file")) << run.out;
  for (const std::string &report :
       {english + ":8:3: warning: the element <metadata> is not carried",
        english + ":28:3: warning: the role \"claws:VVI claws:VV0\"",
        english + ":31:5: warning: the example \"I will read"})
    EXPECT_TRUE(Has(run.err, report)) << report << "\n" << run.err;

  const nlohmann::json info = Json(RunTool({"dict", "info", dir.Path("en.img"), "--json"}));
  EXPECT_EQ(info["name"], "english");
  const nlohmann::json list = Json(RunTool({"dict", "list", dir.Path("en.img"), "--json"}));
  std::map<std::string, nlohmann::json> entries;
  for (const nlohmann::json &key : list["keys"])
    for (const nlohmann::json &entry : key["entries"])
      entries[key["key"].get<std::string>() + " " + entry["model"].get<std::string>()].push_back(
          entry);
  // Each grapheme a key; the phonemes of a lexeme, preferred first, one entry per alphabet.
  const nlohmann::json &tomato = entries["tomato alphabet:ipa"][0];
  EXPECT_EQ(tomato["content"], "broad-narrows");
  EXPECT_EQ(tomato["language"], "en-US");
  EXPECT_EQ(tomato["data"], nlohmann::json({"təˈmɑːtoʊ", "təˈmeɪtoʊ"}));
  EXPECT_EQ(entries["judgement alphabet:ipa"], entries["judgment alphabet:ipa"]);
  EXPECT_EQ(entries["Newton alphabet:x-sampa"][0]["data"], nlohmann::json({"\"nju:t@n"}));
  // Each alias an orthographic entry, the preferred one first.
  ASSERT_EQ(entries["UN alphabet:ipa"].size(), 2u);
  EXPECT_EQ(entries["UN alphabet:ipa"][0]["data"], "U.N.");
  EXPECT_EQ(entries["UN alphabet:ipa"][1]["content"], "orthographic");
}

TEST(Pls, RoundTripThroughAnImageKeepsEveryGraphemePhonemeAndAlias) {
  TempDir dir;
  const std::string english = dir.Write("english.pls", kEnglish);
  ASSERT_EQ(RunTool({"dict", "import-pls", english, "-o", dir.Path("en.img")}).status, 0);
  const ToolRun exported = RunTool({"dict", "export-pls", dir.Path("en.img"), "-o", "-"});
  ASSERT_EQ(exported.status, 0) << exported.err;
  EXPECT_EQ(Content(exported.out), Content(kEnglish)) << exported.out;
  // Through text as well: the text form carries these lexemes.
  ASSERT_EQ(RunTool({"dict", "import-pls", english, "-o", dir.Path("en.txt")}).status, 0);
  EXPECT_EQ(RunTool({"dict", "check", dir.Path("en.txt")}).out, "");
  EXPECT_EQ(Content(RunTool({"dict", "export-pls", dir.Path("en.txt"), "-o", "-"}).out)["tomato"],
            Content(kEnglish)["tomato"]);
}

TEST(Pls, ExportHasOneLanguageAndReportsWhatALexiconCannotHold) {
  TempDir dir;
  const std::string english = dir.Write("english.pls", kEnglish);
  const std::string french = dir.Write("french.pls", kFrench);
  ASSERT_EQ(RunTool({"dict", "import-pls", english, french, "-o", dir.Path("both.img")}).status, 0);
  ToolRun run = RunTool({"dict", "export-pls", dir.Path("both.img"), "-o", dir.Path("x.pls")});
  EXPECT_EQ(run.status, 1);
  EXPECT_TRUE(Has(run.err, "several languages (en-US, fr-FR)")) << run.err;
  EXPECT_FALSE(std::filesystem::exists(dir.Path("x.pls")));
  run = RunTool({"dict", "export-pls", dir.Path("both.img"), "-o", "-", "--language", "fr-FR"});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(Content(run.out),
            (std::map<std::string, std::vector<std::string>>{{"café", {"x-sampa:ka\"fe"}}}));
  EXPECT_TRUE(Has(run.out, "alphabet=\"x-sampa\" xml:lang=\"fr-FR\"")) << run.out;
  EXPECT_TRUE(Has(run.err, "9 entries in en-US left out")) << run.err;

  // User words and engines have no place in a lexicon; a section without an alphabet needs one.
  const std::string text = dir.Write(
      "mixed.txt",
      "[Header]\n[SubHeader]\nLanguage = en\nEngine = tts\nContent = EDCT_CONTENT_USERWORDS\n"
      "Representation = EDCT_REPR_BINARY\n[Data]\nbytes\t01 02\n[SubHeader]\n"
      "Content = EDCT_CONTENT_BROAD_NARROWS\nRepresentation = EDCT_REPR_SZZ_STRING\n[Data]\n"
      "word\t//w3:d\n");
  run = RunTool({"dict", "export-pls", text, "-o", "-"});
  EXPECT_TRUE(Has(run.err, "key \"bytes\": warning: a userwords entry has no place in a lexicon"))
      << run.err;
  EXPECT_TRUE(Has(run.err, "key \"word\": warning: phonemes whose section records no alphabet"));
  run = RunTool({"dict", "export-pls", text, "-o", "-", "--alphabet", "x-sampa"});
  EXPECT_TRUE(Has(run.err, "the engine \"tts\" of an entry is not carried")) << run.err;
  EXPECT_EQ(Content(run.out)["word"], std::vector<std::string>{"x-sampa:w3:d"});
}

TEST(Pls, ImportRefusesWhatIsNoLexicon) {
  TempDir dir;
  const std::pair<std::string, std::string> files[] = {
      {"<lexicon>\n  <lexeme>\n</lexicon>", "bad.pls:3:3: not well-formed XML"},
      {"<lexicon xmlns=\"urn:other\" alphabet=\"ipa\" xml:lang=\"en\"/>",
       "bad.pls:1:1: not a pronunciation lexicon"},
      {"<lexicon xmlns=\"http://www.w3.org/2005/01/pronunciation-lexicon\" xml:lang=\"en\"/>",
       "bad.pls:1:1: the lexicon has no alphabet"},
  };
  for (const auto &[xml, message] : files) {
    const ToolRun run =
        RunTool({"dict", "import-pls", dir.Write("bad.pls", xml), "-o", dir.Path("o.img")});
    EXPECT_EQ(run.status, 1) << xml;
    EXPECT_TRUE(Has(run.err, message)) << message << "\n" << run.err;
    EXPECT_FALSE(std::filesystem::exists(dir.Path("o.img")));
  }
}

}  // namespace
