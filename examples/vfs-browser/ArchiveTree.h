// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <variant>

/// The files, directories and links of an archive, with the contents of the files. Members are
/// added one by one, in the order of the archive, with the same result as unpacking them into an
/// empty directory: a later member replaces an earlier one of the same name, links among the
/// directories of a name are followed, and missing directories are made. Absolute and relative
/// names begin at the root of the tree.
///
/// Paths are resolved as the operating system does in a process whose root directory and working
/// directory are the root of the archive: ".." at the root is the root. But a link that leads
/// upwards out of the archive is dangling.
///
/// Thread-safety: none while members are added. Afterwards any number of threads may look up
/// concurrently.
/// Cost: a look-up grows with the length of the path and of the links that are followed, and with
/// the logarithm of the number of entries in each directory.
class ArchiveTree
{
  public:
    struct Node;
    using Children = std::map<std::string, Node*, std::less<>>;

    struct Directory
    {
        /// The root is its own parent.
        const Node* pParent;
        /// Sorted by the bytes of the names.
        Children children;
    };

    /// Shared by all hard links to a file.
    using Content = std::shared_ptr<const std::string>;

    struct Link
    {
        std::string strTarget;
    };

    struct Node
    {
        std::variant<Directory, Content, Link> kind;
    };

    /// The result of a look-up.
    struct Found
    {
        /// Null if the path does not exist.
        const Node* pNode = nullptr;
        /// The value of `errno` for the reason.
        int iError = 0;
    };

    enum class LastLink
    {
        FOLLOWED,
        FOUND
    };

    /// Makes an empty tree: a root without entries.
    ArchiveTree();
    ArchiveTree(const ArchiveTree&) = delete;
    ArchiveTree& operator=(const ArchiveTree&) = delete;
    ~ArchiveTree();

    // Each of these returns null, or the reason why the member is left out. Names that no file
    // system of the operating system could hold, and names with ".." in them, are left out.

    [[nodiscard]] const char* addDirectory(std::string_view in_name);
    [[nodiscard]] const char* addFile(std::string_view in_name, Content in_pContent);
    [[nodiscard]] const char* addLink(std::string_view in_name, std::string_view in_target);

    /// Adds another name for an earlier member that is not a directory.
    [[nodiscard]] const char* addHardLink(std::string_view in_name, std::string_view in_target);

    /// Looks a path up. The error is ENOENT, ENOTDIR, ELOOP after more than 40 symbolic links, or
    /// ENAMETOOLONG.
    [[nodiscard]] Found find(std::string_view in_path,
                             LastLink in_lastLink = LastLink::FOLLOWED) const;

    /// Returns the bytes that nodes, names and targets of links take, without the contents. An
    /// estimate that is not too low.
    [[nodiscard]] std::size_t getNodeBytes() const { return m_uiNodeBytes; }

  private:
    using Kind = decltype(Node::kind);
    class Walk;

    /// The place for a name, or the reason why it cannot be added.
    struct Place
    {
        Node* pDirectory = nullptr;
        std::string_view name;
        const char* szReason = nullptr;
    };

    [[nodiscard]] Found findIn(const Node& in_directory, std::string_view in_path,
                               LastLink in_lastLink) const;
    [[nodiscard]] Place makeParents(std::string_view in_name);
    [[nodiscard]] Node* descend(Node& inout_directory, std::string_view in_name);
    [[nodiscard]] const char* put(std::string_view in_name, Kind in_kind);
    Node& makeNode(Node& inout_directory, std::string_view in_name, Kind in_kind);

    /// A deque, since the addresses of nodes must not change.
    std::deque<Node> m_nodes;
    Node* m_pRoot;
    std::size_t m_uiNodeBytes = 0;
};
