#include "host/registrar.h"

#include <cctype>
#include <memory>

namespace tarv {
namespace {

struct Node {
    enum class Kind { Key, Value } kind = Kind::Key;
    std::string name;
    bool hasValue = false;
    char valueType = 's';
    std::string value;
    bool noRemove = false;
    bool forceRemove = false;
    bool deleteKey = false;
    std::vector<Node> children;
};

struct Root {
    HKEY key;
    std::vector<Node> children;
};

class Parser {
public:
    explicit Parser(const std::string& text) : text_(text) {}

    bool parse(std::vector<Root>& roots)
    {
        std::string tok;
        while (next(tok)) {
            Root root{rootKey(tok), {}};
            if (!root.key || !next(tok) || tok != "{" || !parseBlock(root.children)) return false;
            roots.push_back(std::move(root));
        }
        return true;
    }

private:
    static HKEY rootKey(const std::string& name)
    {
        if (name == "HKCR" || name == "HKEY_CLASSES_ROOT") return HKEY_CLASSES_ROOT;
        if (name == "HKLM" || name == "HKEY_LOCAL_MACHINE") return HKEY_LOCAL_MACHINE;
        if (name == "HKCU" || name == "HKEY_CURRENT_USER") return HKEY_CURRENT_USER;
        return nullptr;
    }

    // Tokens are runs of non-blank characters or quoted strings ('' inside stands for ').
    bool next(std::string& tok)
    {
        while (pos_ < text_.size() && std::isspace(static_cast<unsigned char>(text_[pos_]))) ++pos_;
        if (pos_ >= text_.size()) return false;
        tok.clear();
        quoted_ = text_[pos_] == '\'';
        if (quoted_) {
            for (++pos_; pos_ < text_.size(); ++pos_) {
                if (text_[pos_] == '\'') {
                    if (pos_ + 1 < text_.size() && text_[pos_ + 1] == '\'') { tok += '\''; ++pos_; continue; }
                    ++pos_;
                    return true;
                }
                tok += text_[pos_];
            }
            return false;
        }
        while (pos_ < text_.size() && !std::isspace(static_cast<unsigned char>(text_[pos_]))) tok += text_[pos_++];
        return true;
    }

    bool parseAssignment(Node& node)
    {
        std::string type;
        if (!next(type) || (type != "s" && type != "d") || !next(node.value)) return false;
        node.hasValue = true;
        node.valueType = type[0];
        return true;
    }

    // Parses the contents of a block up to its closing brace.
    bool parseBlock(std::vector<Node>& nodes)
    {
        std::string tok;
        while (next(tok)) {
            if (!quoted_ && tok == "}") return true;
            Node node;
            if (!quoted_ && tok == "val") {
                node.kind = Node::Kind::Value;
                std::string eq;
                if (!next(node.name) || !next(eq) || eq != "=" || !parseAssignment(node)) return false;
                nodes.push_back(std::move(node));
                continue;
            }
            for (;;) {
                if (quoted_) break;
                if (tok == "NoRemove") node.noRemove = true;
                else if (tok == "ForceRemove") node.forceRemove = true;
                else if (tok == "Delete") node.deleteKey = true;
                else break;
                if (!next(tok)) return false;
            }
            node.name = tok;
            // What follows the name: an assignment, a block, or the next entry.
            size_t mark = pos_;
            std::string after;
            if (next(after) && !quoted_ && after == "=") {
                if (!parseAssignment(node)) return false;
                mark = pos_;
                if (!next(after)) { nodes.push_back(std::move(node)); return false; }
            }
            if (!quoted_ && after == "{") {
                if (!parseBlock(node.children)) return false;
            } else {
                pos_ = mark;
            }
            nodes.push_back(std::move(node));
        }
        return false;
    }

    const std::string& text_;
    size_t pos_ = 0;
    bool quoted_ = false;
};

LONG setValue(HKEY key, const char* name, const Node& node)
{
    if (node.valueType == 'd') {
        DWORD v = std::stoul(node.value, nullptr, 0);
        return RegSetValueExA(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&v), sizeof v);
    }
    return RegSetValueExA(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(node.value.c_str()),
                          static_cast<DWORD>(node.value.size() + 1));
}

LONG registerNodes(HKEY parent, const std::vector<Node>& nodes)
{
    for (const Node& node : nodes) {
        if (node.kind == Node::Kind::Value) {
            if (LONG rc = setValue(parent, node.name.c_str(), node)) return rc;
            continue;
        }
        if (node.forceRemove || node.deleteKey) {
            LONG rc = RegDeleteTreeA(parent, node.name.c_str());
            if (rc != ERROR_SUCCESS && rc != ERROR_FILE_NOT_FOUND) return rc;
            if (node.deleteKey) continue;
        }
        HKEY key = nullptr;
        if (LONG rc = RegCreateKeyExA(parent, node.name.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr))
            return rc;
        LONG rc = node.hasValue ? setValue(key, nullptr, node) : ERROR_SUCCESS;
        if (rc == ERROR_SUCCESS) rc = registerNodes(key, node.children);
        RegCloseKey(key);
        if (rc) return rc;
    }
    return ERROR_SUCCESS;
}

LONG unregisterNodes(HKEY parent, const std::vector<Node>& nodes)
{
    for (auto it = nodes.rbegin(); it != nodes.rend(); ++it) {
        const Node& node = *it;
        LONG rc = ERROR_SUCCESS;
        if (node.kind == Node::Kind::Value) {
            rc = RegDeleteValueA(parent, node.name.c_str());
        } else if (node.noRemove) {
            HKEY key = nullptr;
            rc = RegOpenKeyExA(parent, node.name.c_str(), 0, KEY_ALL_ACCESS, &key);
            if (rc == ERROR_SUCCESS) {
                rc = unregisterNodes(key, node.children);
                RegCloseKey(key);
            }
        } else if (!node.deleteKey) {
            rc = RegDeleteTreeA(parent, node.name.c_str());
        }
        if (rc != ERROR_SUCCESS && rc != ERROR_FILE_NOT_FOUND) return rc;
    }
    return ERROR_SUCCESS;
}

bool substitute(const std::string& script, const RegistryTokens& tokens, std::string& out)
{
    for (size_t i = 0; i < script.size(); ++i) {
        if (script[i] != '%') { out += script[i]; continue; }
        size_t end = script.find('%', i + 1);
        if (end == std::string::npos) return false;
        std::string name = script.substr(i + 1, end - i - 1);
        if (name.empty()) {
            out += '%';
        } else {
            auto t = tokens.begin();
            while (t != tokens.end() && t->first != name) ++t;
            if (t == tokens.end()) return false;
            out += t->second;
        }
        i = end;
    }
    return true;
}

} // namespace

HRESULT runRegistryScript(const std::string& script, const RegistryTokens& tokens, bool registering, bool perUser)
{
    std::string text;
    std::vector<Root> roots;
    if (!substitute(script, tokens, text) || !Parser(text).parse(roots)) return DISP_E_EXCEPTION;

    for (Root& root : roots) {
        HKEY base = root.key;
        HKEY userClasses = nullptr;
        if (perUser && base == HKEY_CLASSES_ROOT) {
            if (LONG rc = RegCreateKeyExA(HKEY_CURRENT_USER, "Software\\Classes", 0, nullptr, 0, KEY_ALL_ACCESS,
                                          nullptr, &userClasses, nullptr))
                return HRESULT_FROM_WIN32(rc);
            base = userClasses;
        }
        LONG rc = registering ? registerNodes(base, root.children) : unregisterNodes(base, root.children);
        if (userClasses) RegCloseKey(userClasses);
        if (rc) return HRESULT_FROM_WIN32(rc);
    }
    return S_OK;
}

std::string loadRegistryScript(HMODULE module, int resource)
{
    HRSRC found = FindResourceA(module, MAKEINTRESOURCEA(resource), "REGISTRY");
    if (!found) return {};
    HGLOBAL loaded = LoadResource(module, found);
    const char* data = static_cast<const char*>(LockResource(loaded));
    return data ? std::string(data, SizeofResource(module, found)) : std::string();
}

} // namespace tarv
