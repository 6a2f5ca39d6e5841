#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <variant>

/// The files, directories and links of an archive, with the contents of the files. Members are
/// added one by one, in the order of the archive, and what becomes of them is what becomes of them
/// when they are unpacked into an empty directory: a later member takes the place of an earlier one
/// of its name, links among the directories of a name are followed, directories that are missing
/// are made. An absolute name begins at the root of the tree, as does any other.
///
/// Paths are looked up as the operating system does in a process whose root directory is the root
/// of the archive, and whose working directory is there too: ".." at the root is the root. But a
/// link that leads upwards out of the archive leads nowhere.
///
/// Thread-safety: none while members are added. Any number of threads may look up concurrently.
/// Cost: a look-up grows with the path, those of links that are followed, and the logarithm of the
/// number of entries in each directory.
class ArchiveTree
{
  public:
    struct Node;
    using Children = std::map<std::string, Node*, std::less<>>;

    struct Directory
    {
        /// That of the root is the root.
        const Node* pParent;
        /// In the order of their names' bytes.
        Children children;
    };

    /// Shared by all names of a file with hard links.
    using Content = std::shared_ptr<const std::string>;

    struct Link
    {
        std::string strTarget;
    };

    struct Node
    {
        std::variant<Directory, Content, Link> kind;
    };

    /// What a path leads to.
    struct Found
    {
        /// Null if it leads nowhere.
        const Node* pNode = nullptr;
        /// The number of `errno` that says why.
        int iError = 0;
    };

    enum class LastLink
    {
        FOLLOWED,
        FOUND
    };

    /// An empty tree: a root without entries.
    ArchiveTree();
    ArchiveTree(const ArchiveTree&) = delete;
    ArchiveTree& operator=(const ArchiveTree&) = delete;
    ~ArchiveTree();

    // Each of these gives null, or why the member is left out. Names that no file system of the
    // operating system could hold, and those with ".." in them, are left out.

    [[nodiscard]] const char* addDirectory(std::string_view in_name);
    [[nodiscard]] const char* addFile(std::string_view in_name, Content in_pContent);
    [[nodiscard]] const char* addLink(std::string_view in_name, std::string_view in_target);

    /// Another name for an earlier member, which is no directory.
    [[nodiscard]] const char* addHardLink(std::string_view in_name, std::string_view in_target);

    /// ENOENT, ENOTDIR, ELOOP behind more than 40 symbolic links, or ENAMETOOLONG.
    [[nodiscard]] Found find(std::string_view in_path,
                             LastLink in_lastLink = LastLink::FOLLOWED) const;

    /// The bytes that nodes, names and targets of links take, contents not included. An estimate,
    /// which is not too low.
    [[nodiscard]] std::size_t getNodeBytes() const { return m_uiNodeBytes; }

  private:
    using Kind = decltype(Node::kind);
    class Walk;

    /// Where a name is to be put; a reason in its place why it cannot be.
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

    /// Their addresses stay.
    std::deque<Node> m_nodes;
    Node* m_pRoot;
    std::size_t m_uiNodeBytes = 0;
};
