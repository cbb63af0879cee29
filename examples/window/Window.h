// SPDX-License-Identifier: MIT

// A window for one archive: its listing, and what can be done with it.

#pragma once

#include <QAction>
#include <QLabel>
#include <QMainWindow>
#include <QProgressBar>
#include <QTreeWidget>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "tour/Report.h"
#include "tour/Volumes.h"
#include "window/Job.h"

class Window : public QMainWindow {
 public:
  Window();

  // Opens the archive that the file at `path` is, or is any volume of.
  void open(const QString& path);

 private:
  void addActions();
  void addHeader();
  void chooseFile();
  void extract();
  void moveToTrash();

  // Starts a worker for the archive. Keeps the first failure; all other reports go to `onReport`.
  void start(std::vector<std::string> arguments, Job::OnReport onReport, Job::OnEnd onEnd);
  void addEntry(const tour::Report& entry);
  // The row for a path, which is made with those of the folders around it if it is not there.
  QTreeWidgetItem* itemAt(const std::string& path);
  void updateActions();

  QAction* openAction_;
  QAction* extractAction_;
  QAction* trashAction_;
  QLabel* icon_;
  QLabel* name_;
  QLabel* facts_;
  QTreeWidget* entries_;
  QLabel* status_;
  QProgressBar* progress_;

  tour::Volumes volumes_;
  std::unordered_map<std::string, QTreeWidgetItem*> items_;  // by path
  std::uint64_t size_ = 0;                                   // of all files
  bool isListed_ = false;
  QString failure_;  // the first one
  std::unique_ptr<Job> job_;
};
