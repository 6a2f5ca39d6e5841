// SPDX-License-Identifier: BSD-2-Clause

#include "ArchiveTree.h"

#include <cerrno>
#include <climits>
#include <utility>
#include <vector>

namespace
{

/// The operating system's limit.
constexpr unsigned int s_uiMostLinks = 40;

/// The size of a node and of its map entry, with the allocator's overhead for both.
constexpr std::size_t s_uiBytesOfNode = 256;

constexpr const char* s_szUpwards = "its name has \"..\" in it";
constexpr const char* s_szNoName = "it has no name";
constexpr const char* s_szLongName = "its name is longer than a path may be";
constexpr const char* s_szParent = "what it should be in is no directory";
constexpr const char* s_szNotEmpty = "a directory with entries has its name";

/// Removes the first name from a path and returns it. Returns "." for a path that is empty or holds
/// only slashes, as one after the last '/' does: it names the directory itself.
std::string_view takeName(std::string_view& inout_path)
{
    const std::size_t uiBegin = inout_path.find_first_not_of('/');
    inout_path.remove_prefix(uiBegin == std::string_view::npos ? inout_path.size() : uiBegin);
    if (inout_path.empty())
        return ".";
    const std::string_view name = inout_path.substr(0, inout_path.find('/'));
    inout_path.remove_prefix(name.size());
    return name;
}

bool isDirectory(const ArchiveTree::Node& in_node)
{
    return std::holds_alternative<ArchiveTree::Directory>(in_node.kind);
}

void setParent(ArchiveTree::Node& inout_node, const ArchiveTree::Node& in_parent)
{
    if (auto* const pDirectory = std::get_if<ArchiveTree::Directory>(&inout_node.kind))
        pDirectory->pParent = &in_parent;
}

} // namespace

/// The state of a look-up.
class ArchiveTree::Walk
{
  public:
    explicit Walk(const Node& in_root) : m_root(in_root) {}

    Found walk(const Node& in_from, std::string_view in_path, LastLink in_lastLink)
    {
        if (in_path.empty() || in_path.size() >= PATH_MAX)
            return {nullptr, in_path.empty() ? ENOENT : ENAMETOOLONG};
        m_pAt = in_path.front() == '/' ? &m_root : &in_from;
        m_pending.push_back({in_path, false});
        while (m_pAt != nullptr && !m_pending.empty())
            step(in_lastLink);
        return {m_pAt, m_iError};
    }

  private:
    /// The rest of the path, or of a link's target.
    struct Rest
    {
        std::string_view path;
        bool bOfLink;
    };

    const Node* fail(int in_iError)
    {
        m_iError = in_iError;
        m_pAt = nullptr;
        return nullptr;
    }

    void step(LastLink in_lastLink)
    {
        const std::string_view name = takeName(m_pending.back().path);
        const bool bOfLink = m_pending.back().bOfLink;
        // Finished paths are removed before the step, so that an empty stack marks the last name.
        while (!m_pending.empty() && m_pending.back().path.empty())
            m_pending.pop_back();
        const auto* const pDirectory = std::get_if<Directory>(&m_pAt->kind);
        if (pDirectory == nullptr)
            fail(ENOTDIR);
        else if (name == "..")
            // A link must not lead out of the archive.
            m_pAt = m_pAt == &m_root && bOfLink ? fail(ENOENT) : pDirectory->pParent;
        else if (name != ".")
            enter(*pDirectory, name, in_lastLink);
    }

    void enter(const Directory& in_directory, std::string_view in_name, LastLink in_lastLink)
    {
        const auto child = in_directory.children.find(in_name);
        if (child == in_directory.children.end())
        {
            fail(in_name.size() > NAME_MAX ? ENAMETOOLONG : ENOENT);
            return;
        }
        const auto* const pLink = std::get_if<Link>(&child->second->kind);
        if (pLink == nullptr || (m_pending.empty() && in_lastLink == LastLink::FOUND))
            m_pAt = child->second;
        else
            follow(pLink->strTarget);
    }

    void follow(std::string_view in_target)
    {
        if (++m_uiLinks > s_uiMostLinks || in_target.empty())
        {
            fail(in_target.empty() ? ENOENT : ELOOP);
            return;
        }
        if (in_target.front() == '/')
            m_pAt = &m_root;
        m_pending.push_back({in_target, true});
    }

    const Node& m_root;
    unsigned int m_uiLinks = 0;
    const Node* m_pAt = nullptr;
    int m_iError = 0;
    /// A stack with the innermost link on top. None of them is empty.
    std::vector<Rest> m_pending;
};

ArchiveTree::ArchiveTree() : m_pRoot(&m_nodes.emplace_back(Node{Directory{nullptr, {}}}))
{
    std::get<Directory>(m_pRoot->kind).pParent = m_pRoot;
}

ArchiveTree::~ArchiveTree() = default;

ArchiveTree::Found ArchiveTree::find(std::string_view in_path, LastLink in_lastLink) const
{
    return findIn(*m_pRoot, in_path, in_lastLink);
}

ArchiveTree::Found ArchiveTree::findIn(const Node& in_directory, std::string_view in_path,
                                       LastLink in_lastLink) const
{
    return Walk(*m_pRoot).walk(in_directory, in_path, in_lastLink);
}

const char* ArchiveTree::addDirectory(std::string_view in_name)
{
    return put(in_name, Directory{nullptr, {}});
}

const char* ArchiveTree::addFile(std::string_view in_name, Content in_pContent)
{
    return put(in_name, std::move(in_pContent));
}

const char* ArchiveTree::addLink(std::string_view in_name, std::string_view in_target)
{
    if (in_target.empty() || in_target.size() >= PATH_MAX)
        return in_target.empty() ? "it is a link to nowhere"
                                 : "it is a link to more than a path may be";
    m_uiNodeBytes += in_target.size();
    return put(in_name, Link{std::string(in_target)});
}

const char* ArchiveTree::addHardLink(std::string_view in_name, std::string_view in_target)
{
    const Node* const pTarget = findIn(*m_pRoot, in_target, LastLink::FOUND).pNode;
    if (pTarget == nullptr)
        return "it is a hard link to what is not there";
    if (isDirectory(*pTarget))
        return "it is a hard link to a directory";
    // A node of its own that shares the content: a later member may replace one of the names only.
    return put(in_name, Kind(pTarget->kind));
}

const char* ArchiveTree::put(std::string_view in_name, Kind in_kind)
{
    const Place place = makeParents(in_name);
    const bool bMakesDirectory = std::holds_alternative<Directory>(in_kind);
    if (place.szReason != nullptr || place.name.empty())
        return place.szReason != nullptr || bMakesDirectory ? place.szReason : s_szNoName;
    auto& children = std::get<Directory>(place.pDirectory->kind).children;
    const auto present = children.find(place.name);
    if (present == children.end())
    {
        makeNode(*place.pDirectory, place.name, std::move(in_kind));
        return nullptr;
    }
    Node& node = *present->second;
    const auto* const pDirectory = std::get_if<Directory>(&node.kind);
    if (pDirectory != nullptr && bMakesDirectory)
        return nullptr;
    if (pDirectory != nullptr && !pDirectory->children.empty())
        return s_szNotEmpty;
    node.kind = std::move(in_kind);
    setParent(node, *place.pDirectory);
    return nullptr;
}

/// Resolves a member's name down to its last part, and makes the missing directories.
ArchiveTree::Place ArchiveTree::makeParents(std::string_view in_name)
{
    if (in_name.empty() || in_name.size() >= PATH_MAX)
        return {nullptr, {}, in_name.empty() ? s_szNoName : s_szLongName};
    std::vector<std::string_view> names;
    while (!in_name.empty())
    {
        const std::string_view name = takeName(in_name);
        if (name == ".." || name.size() > NAME_MAX)
            return {nullptr, {}, name == ".." ? s_szUpwards : s_szLongName};
        if (name != ".")
            names.push_back(name);
    }
    if (names.empty())
        return {m_pRoot, {}, nullptr};
    Node* pDirectory = m_pRoot;
    for (std::size_t uiName = 0; pDirectory != nullptr && uiName + 1 < names.size(); ++uiName)
        pDirectory = descend(*pDirectory, names[uiName]);
    return {pDirectory, names.back(), pDirectory == nullptr ? s_szParent : nullptr};
}

/// Returns the directory of that name. Makes it if the name does not exist; returns null if it is
/// something else.
ArchiveTree::Node* ArchiveTree::descend(Node& inout_directory, std::string_view in_name)
{
    const auto& children = std::get<Directory>(inout_directory.kind).children;
    if (!children.contains(in_name))
        return &makeNode(inout_directory, in_name, Directory{nullptr, {}});
    const Node* const pNode = findIn(inout_directory, in_name, LastLink::FOLLOWED).pNode;
    // The cast is safe, as all nodes belong to this tree.
    return pNode != nullptr && isDirectory(*pNode) ? const_cast<Node*>(pNode) : nullptr;
}

ArchiveTree::Node& ArchiveTree::makeNode(Node& inout_directory, std::string_view in_name,
                                         Kind in_kind)
{
    Node& node = m_nodes.emplace_back(Node{std::move(in_kind)});
    setParent(node, inout_directory);
    std::get<Directory>(inout_directory.kind).children.emplace(in_name, &node);
    m_uiNodeBytes += s_uiBytesOfNode + in_name.size();
    return node;
}
