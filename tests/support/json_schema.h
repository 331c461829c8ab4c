// Holds a JSON document against a schema (JSON Schema, draft 2020-12), with the keywords that our schemas use: an unknown
// one is a complaint, so that none is passed over in silence.
#ifndef AC500_TESTS_SUPPORT_JSON_SCHEMA_H
#define AC500_TESTS_SUPPORT_JSON_SCHEMA_H

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace ac500::test {

// Complaints, each with its place in the document; none when it fits.
std::vector<std::string> schemaComplaints(const nlohmann::json& schema, const nlohmann::json& document);

// The same in one text, with the schema in docs/schema/ of a command of ac500-host; empty when the text is a document
// that fits.
std::string outputComplaints(const std::string& command, const std::string& text);

// Is there a schema for this command?
bool hasOutputSchema(const std::string& command);

}  // namespace ac500::test

#endif
