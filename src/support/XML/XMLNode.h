#pragma once

struct _xmlDoc;
struct _xmlNode;

namespace ovelo {

/// A node of a document; a cheap handle that owns nothing.
///
/// lifetime  for as long as its document
class XMLNode {
public:
    XMLNode(_xmlNode* node, _xmlDoc* document) : _libXMLNode_(node), _libXMLDocument_(document) {}

    friend bool operator==(const XMLNode& one, const XMLNode& other) {
        return one._libXMLNode_ == other._libXMLNode_;
    }

protected:
    [[nodiscard]] _xmlNode* node() const { return _libXMLNode_; }
    [[nodiscard]] _xmlDoc* document() const { return _libXMLDocument_; }

private:
    _xmlNode* _libXMLNode_;
    _xmlDoc* _libXMLDocument_;
};

} // namespace ovelo
