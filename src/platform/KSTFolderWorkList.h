#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

/// The folders a parallel tree walk still has to read, shared by its threads.
///
/// A folder is pending from the moment it is pushed until its reader calls finishOne() after
/// pushing all of its sub-folders, so nothing pending means the walk is done: pop() then
/// returns false on every thread. stop() ends the walk early (a cancel). Thread-safe.
class KSTFolderWorkList
{
public:
    void push(std::string folder)
    {
        std::lock_guard lock(m_mutex);
        m_folders.push_back(std::move(folder));
        ++m_pending;
        m_wake.notify_one();
    }

    /// Waits for a folder to read; false once the walk is done or stopped.
    bool pop(std::string &folder)
    {
        std::unique_lock lock(m_mutex);
        m_wake.wait(lock, [this] { return !m_folders.empty() || m_pending == 0 || m_stopped; });
        if (m_folders.empty() || m_stopped)
            return false;
        folder = std::move(m_folders.back());
        m_folders.pop_back();
        return true;
    }

    /// The folder popped last by this thread has been read and its sub-folders pushed.
    void finishOne()
    {
        std::lock_guard lock(m_mutex);
        if (--m_pending == 0)
            m_wake.notify_all();
    }

    void stop()
    {
        std::lock_guard lock(m_mutex);
        m_stopped = true;
        m_wake.notify_all();
    }

    /// How many folders wait to be read (for deciding whether more threads are worth it).
    std::size_t queued()
    {
        std::lock_guard lock(m_mutex);
        return m_folders.size();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::vector<std::string> m_folders;
    std::size_t m_pending = 0;
    bool m_stopped = false;
};
