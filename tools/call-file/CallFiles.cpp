// SPDX-License-Identifier: BSD-2-Clause

#include "CallFiles.h"

#include "OpenDirectory.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <set>
#include <tuple>
#include <utility>

namespace CallFileTool
{

namespace
{

constexpr std::string_view s_strCompressed = ".gz";

/// The first year of which there can be a directory. Years are tried one by one, so that the
/// directory of the calls, which may have very many files, is not read.
constexpr int s_iFirstYear = 2000;

bool isDigit(char in_c) { return in_c >= '0' && in_c <= '9'; }

bool isNumber(std::string_view in_text, std::size_t in_uiDigits)
{
    return in_text.size() == in_uiDigits && std::all_of(in_text.begin(), in_text.end(), isDigit);
}

/// Returns whether a name can be that of the directory of a month, such as "03March". The name of
/// the month is in the language of the program.
bool isMonth(std::string_view in_name)
{
    return in_name.size() > 2 && isNumber(in_name.substr(0, 2), 2) && !isDigit(in_name[2]);
}

bool isDayOrHour(std::string_view in_name) { return isNumber(in_name, 2); }

/// What follows the name of a file in that of an earlier call's. Each "0" stands for a digit. A
/// hyphen and a number may follow.
constexpr std::string_view s_strEarlierEnd = ".0000-00-00T000000Z";
constexpr std::string_view s_numbers[] = {"", "-1", "-10", "-100", "-1000"};

/// Returns that end of a name; an empty text if it has none.
std::string_view earlierEndOf(std::string_view in_name)
{
    const std::size_t uiDot = in_name.rfind('.');
    if (uiDot == std::string_view::npos)
        return {};
    const std::string_view end = in_name.substr(uiDot);
    const std::string_view time = end.substr(0, s_strEarlierEnd.size());
    const std::string_view number = end.substr(time.size());
    const bool bTime =
        std::equal(time.begin(), time.end(), s_strEarlierEnd.begin(), s_strEarlierEnd.end(),
                   [](char in_c, char in_cForm)
                   { return in_cForm == '0' ? isDigit(in_c) : in_c == in_cForm; });
    const bool bNumber = number.size() > 1 && number[0] == '-' &&
                         std::all_of(number.begin() + 1, number.end(), isDigit);
    return bTime && (number.empty() || bNumber) ? end : std::string_view();
}

std::string_view withoutCompression(std::string_view in_name)
{
    return in_name.ends_with(s_strCompressed)
               ? in_name.substr(0, in_name.size() - s_strCompressed.size())
               : in_name;
}

void sortNewestFirst(std::vector<CallFile>& inout_files)
{
    const auto key = [](const CallFile& in_file)
    { return std::tie(in_file.changed.tv_sec, in_file.changed.tv_nsec, in_file.strPath); };
    std::sort(inout_files.begin(), inout_files.end(),
              [key](const CallFile& in_left, const CallFile& in_right)
              { return key(in_left) > key(in_right); });
}

int thisYear()
{
    const std::time_t now = std::time(nullptr);
    std::tm local = {};
    localtime_r(&now, &local);
    return local.tm_year + 1900;
}

} // namespace

CallFiles::CallFiles(const std::string& in_strDirectory, const std::string& in_strPrefix,
                     const std::string& in_strSuffix, Warn in_warn)
    : m_strDirectory(in_strDirectory), m_strPrefix(in_strPrefix), m_strSuffix(in_strSuffix),
      m_names(in_strPrefix, in_strSuffix), m_warn(std::move(in_warn))
{
}

bool CallFiles::exist() const { return OpenDirectory::at(m_strDirectory).isOpen(); }

std::vector<CallFile> CallFiles::find(const std::string& in_strCallId, bool in_bEarlier) const
{
    std::vector<CallFile> files;
    const OpenDirectory directory = OpenDirectory::at(m_strDirectory);
    if (!directory.isOpen())
        return files;
    const auto findHere = [&](const OpenDirectory& in_directory)
    { findIn(in_directory, in_strCallId, in_bEarlier, files); };
    findHere(directory);
    forEachHour(directory, findHere);
    sortNewestFirst(files);
    return files;
}

Velmora::CallFileName CallFiles::namesWith(std::string_view in_earlierEnd) const
{
    return {m_strPrefix, m_strSuffix + std::string(in_earlierEnd)};
}

void CallFiles::findIn(const OpenDirectory& in_directory, const std::string& in_strCallId,
                       bool in_bEarlier, std::vector<CallFile>& out_files) const
{
    const Velmora::CallFileName::Name name = m_names.partsOf(in_strCallId);
    in_directory.withNested(name.strDirectory,
                            [&](const OpenDirectory& in_inner)
                            {
                                findAt(in_inner, name.strFile, in_strCallId, out_files);
                                findAt(in_inner, name.strFile + std::string(s_strCompressed),
                                       in_strCallId, out_files);
                            });
    if (!in_bEarlier)
        return;
    // A long id is cut where the end of the name demands it, so the directory depends on the end.
    std::set<std::string> directories;
    for (const std::string_view number : s_numbers)
        directories.insert(namesWith(std::string(s_strEarlierEnd).append(number))
                               .partsOf(in_strCallId)
                               .strDirectory);
    for (const std::string& strDirectory : directories)
        in_directory.withNested(strDirectory,
                                [&](const OpenDirectory& in_inner)
                                {
                                    for (const std::string& strName : in_inner.names())
                                        if (!earlierEndOf(withoutCompression(strName)).empty())
                                            findAt(in_inner, strName, in_strCallId, out_files);
                                });
}

void CallFiles::findAt(const OpenDirectory& in_directory, const std::string& in_strName,
                       const std::string& in_strCallId, std::vector<CallFile>& out_files) const
{
    if (const std::optional<struct stat> status = in_directory.statusOf(in_strName))
        add(
            in_directory, in_strName, *status,
            [&](std::string_view in_strOther) { return in_strOther == in_strCallId; }, out_files);
}

void CallFiles::forEachHour(const OpenDirectory& in_directory,
                            const std::function<void(const OpenDirectory&)>& in_function) const
{
    const auto forEach = [this](const OpenDirectory& in_parent, auto in_isName, auto in_each)
    {
        for (const std::string& strName : in_parent.names())
            if (in_isName(strName))
            {
                const OpenDirectory item = in_parent.open(strName);
                if (item.isOpen())
                    in_each(item);
                else if (errno != ENOTDIR && errno != ELOOP && errno != ENOENT)
                    m_warn("cannot read " + item.path() + ": " + std::strerror(errno));
            }
    };
    const int iLastYear = thisYear() + 1;
    for (int iYear = s_iFirstYear; iYear <= iLastYear; ++iYear)
        if (const OpenDirectory year = in_directory.open(std::to_string(iYear)); year.isOpen())
            forEach(year, isMonth,
                    [&](const OpenDirectory& in_month)
                    {
                        forEach(in_month, isDayOrHour,
                                [&](const OpenDirectory& in_day)
                                { forEach(in_day, isDayOrHour, in_function); });
                    });
}

std::vector<CallFile> CallFiles::search(const Accept& in_accept) const
{
    std::vector<CallFile> files;
    if (const OpenDirectory directory = OpenDirectory::at(m_strDirectory); directory.isOpen())
        searchIn(directory, in_accept, files);
    sortNewestFirst(files);
    return files;
}

void CallFiles::searchIn(const OpenDirectory& in_directory, const Accept& in_accept,
                         std::vector<CallFile>& out_files) const
{
    const std::vector<std::string> names = in_directory.names();
    if (errno != 0)
        m_warn("cannot read " + in_directory.path() + ": " + std::strerror(errno));
    for (const std::string& strName : names)
    {
        const std::optional<struct stat> status = in_directory.statusOf(strName);
        if (!status)
            continue;
        if (!S_ISDIR(status->st_mode))
        {
            add(in_directory, strName, *status, in_accept, out_files);
            continue;
        }
        const OpenDirectory inner = in_directory.open(strName);
        if (inner.isOpen())
            searchIn(inner, in_accept, out_files);
        else if (errno != ENOENT)
            m_warn("cannot read " + inner.path() + ": " + std::strerror(errno));
    }
}

void CallFiles::add(const OpenDirectory& in_directory, const std::string& in_strName,
                    const struct stat& in_status, const Accept& in_accept,
                    std::vector<CallFile>& out_files) const
{
    if (!S_ISREG(in_status.st_mode))
        return;
    const std::string strPath = in_directory.pathOf(in_strName);
    const std::string_view inside =
        std::string_view(strPath).substr(std::min(m_strDirectory.size(), strPath.size()));
    std::optional<std::string> strCallId;
    bool bEarlier = false;
    bool bCompressed = false;
    for (const std::string_view path : {inside, withoutCompression(inside)})
    {
        if (strCallId)
            break;
        bCompressed = path.size() != inside.size();
        if (const std::string_view end = earlierEndOf(path); !end.empty())
            strCallId = namesWith(end).callIdOf(path);
        bEarlier = strCallId.has_value();
        if (!strCallId)
            strCallId = m_names.callIdOf(path);
    }
    if (strCallId && in_accept(*strCallId))
        out_files.push_back({*strCallId, strPath, in_status.st_mtim,
                             static_cast<std::uint64_t>(in_status.st_size), bEarlier, bCompressed});
}

} // namespace CallFileTool
