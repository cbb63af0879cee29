// SPDX-License-Identifier: MIT

#include "window/Window.h"

#include <OrvexKit/OXFileUtil.h>

#include <QFile>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QIcon>
#include <QMimeDatabase>
#include <QStatusBar>
#include <QToolBar>
#include <QVBoxLayout>
#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

namespace {

using namespace OXFileUtilAdditions;

enum Column : int { nameColumn, sizeColumn, kindColumn, dateColumn };

// Deeper levels stay in one name: an archive may have any number of them.
constexpr int mostLevels = 64;

QString toQString(const OXString& string) {
  return QString::fromStdString(string.value_or(""));
}

QString sizeText(std::uint64_t size) {
  return toQString(OXHumanReadableFileSize(static_cast<std::int64_t>(size)));
}

QString kindText(const std::string& name) {
  const QString kind = toQString(fileDescription(name));
  return kind.isEmpty() ? "File" : kind;
}

// A label for what comes from the archive: it is no rich text, whatever it looks like, and as wide
// as there is room for.
QLabel* makeLabel(const QString& text, QWidget* parent) {
  auto* const label = new QLabel(text, parent);
  label->setTextFormat(Qt::PlainText);
  label->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
  return label;
}

QIcon iconOf(const QString& name) {
  const QMimeType type = QMimeDatabase().mimeTypeForFile(name, QMimeDatabase::MatchExtension);
  return QIcon::fromTheme(type.iconName(), QIcon::fromTheme(type.genericIconName()));
}

QAction* makeAction(QToolBar* bar, const char* icon, const QString& text, const char* name) {
  QAction* const action = bar->addAction(QIcon::fromTheme(icon), text);
  action->setObjectName(name);
  return action;
}

}  // namespace

Window::Window() {
  auto* const center = new QWidget(this);
  auto* const layout = new QVBoxLayout(center);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(0);
  setCentralWidget(center);
  addActions();
  addHeader();

  entries_ = new QTreeWidget(center);
  entries_->setObjectName("entries");
  entries_->setHeaderLabels({"Name", "Size", "Kind", "Date Modified"});
  entries_->headerItem()->setTextAlignment(sizeColumn, Qt::AlignRight | Qt::AlignVCenter);
  entries_->setStyleSheet("QTreeView::item { padding: 3px 2px; }");
  entries_->setUniformRowHeights(true);
  entries_->setAlternatingRowColors(true);
  entries_->setFrameShape(QFrame::NoFrame);
  entries_->header()->resizeSection(nameColumn, 300);
  entries_->header()->resizeSection(sizeColumn, 90);
  entries_->header()->resizeSection(kindColumn, 190);
  layout->addWidget(entries_, 1);

  status_ = makeLabel("Open an archive, or any volume of one.", this);
  status_->setObjectName("status");
  progress_ = new QProgressBar(this);
  progress_->setObjectName("progress");
  progress_->setMaximumWidth(220);
  progress_->hide();
  statusBar()->setSizeGripEnabled(false);
  statusBar()->setContentsMargins(12, 0, 12, 0);
  statusBar()->addWidget(status_, 1);
  statusBar()->addPermanentWidget(progress_);

  resize(820, 520);
  updateActions();
}

void Window::addActions() {
  QToolBar* const bar = addToolBar("Actions");
  bar->setMovable(false);
  bar->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
  openAction_ = makeAction(bar, "document-open", "Open", "open");
  extractAction_ = makeAction(bar, "archive-extract", "Extract", "extract");
  trashAction_ = makeAction(bar, "user-trash", "Move to Trash", "trash");
  openAction_->setShortcut(QKeySequence::Open);
  trashAction_->setShortcut(QKeySequence::Delete);
  connect(openAction_, &QAction::triggered, this, [this] { chooseFile(); });
  connect(extractAction_, &QAction::triggered, this, [this] { extract(); });
  connect(trashAction_, &QAction::triggered, this, [this] { moveToTrash(); });
}

void Window::addHeader() {
  auto* const header = new QWidget(centralWidget());
  header->setAutoFillBackground(true);
  header->setBackgroundRole(QPalette::Base);
  auto* const row = new QHBoxLayout(header);
  row->setContentsMargins(16, 12, 16, 12);
  row->setSpacing(14);
  auto* const texts = new QVBoxLayout();
  icon_ = new QLabel(header);
  name_ = makeLabel("No archive", header);
  facts_ = makeLabel("", header);
  QFont large = name_->font();
  large.setPointSizeF(large.pointSizeF() * 1.4);
  large.setBold(true);
  name_->setFont(large);
  texts->setSpacing(2);
  texts->addStretch();
  texts->addWidget(name_);
  texts->addWidget(facts_);
  texts->addStretch();
  row->addWidget(icon_);
  row->addLayout(texts, 1);
  centralWidget()->layout()->addWidget(header);
}

void Window::chooseFile() {
  const QString path = QFileDialog::getOpenFileName(this, "Open Archive");
  if (!path.isEmpty()) {
    open(path);
  }
}

void Window::open(const QString& path) {
  job_.reset();
  entries_->clear();
  items_.clear();
  size_ = 0;
  isListed_ = false;
  volumes_ = tour::findVolumes(QFile::encodeName(path).toStdString());

  std::int64_t size = 0;
  for (const std::string& volume : volumes_.paths) {
    size += OXGetFileSize(volume);
  }
  const QString name = QString::fromStdString(volumes_.name);
  setWindowTitle(name);
  name_->setText(name);
  icon_->setPixmap(iconOf(name).pixmap(48, 48));
  const std::size_t count = volumes_.paths.size();
  facts_->setText(kindText(volumes_.name) + ", " + toQString(OXHumanReadableFileSize(size)) +
                  (count > 1 ? QString(" in %1 volumes").arg(count) : ""));
  status_->setText("Listing");
  progress_->setRange(0, 0);  // nobody knows how many entries there are
  start(
      {"list"}, [this](const tour::Report& entry) { addEntry(entry); },
      [this](bool isComplete) {
        isListed_ = isComplete;
        entries_->expandToDepth(0);
        status_->setText(isComplete
                             ? QString("%1 items, %2").arg(items_.size()).arg(sizeText(size_))
                             : "The archive could not be read to its end. " + failure_);
      });
}

void Window::extract() {
  const std::string parent = std::filesystem::path(volumes_.paths.front()).parent_path();
  const OXString name = stringByDeletingArchiveExtension(volumes_.name);
  const OXString folder = OXSafelyCreateArchiveSubdir(name, parent, false);
  if (!folder) {
    status_->setText("There is no folder for the contents.");
    return;
  }
  const QString made = toQString(OXPathByRemovingAncestorPath(folder, parent));
  status_->setText("Extracting to " + made);
  progress_->setRange(0, 1000);
  progress_->setValue(0);
  start(
      {"extract", *folder},
      [this](const tour::Report& report) {
        const double whole = static_cast<double>(std::max<std::uint64_t>(size_, 1));
        const double part = static_cast<double>(report.written) / whole;
        progress_->setValue(static_cast<int>(std::min(part, 1.0) * progress_->maximum()));
      },
      [this, made](bool isComplete) {
        status_->setText(isComplete ? "Extracted to " + made
                                    : "Not everything could be extracted. " + failure_);
      });
}

void Window::moveToTrash() {
  for (const std::string& volume : volumes_.paths) {
    if (!OXMoveFileToTrashSync(volume)) {
      status_->setText("It could not be moved to the Trash.");
      return;
    }
  }
  volumes_.paths.clear();
  status_->setText("Moved to the Trash");
  updateActions();
}

void Window::start(std::vector<std::string> arguments, Job::OnReport onReport, Job::OnEnd onEnd) {
  arguments.insert(arguments.end(), volumes_.paths.begin(), volumes_.paths.end());
  failure_.clear();
  auto take = [this, onReport = std::move(onReport)](const tour::Report& report) {
    if (!report.failure) {
      onReport(report);
    } else if (failure_.isEmpty()) {
      failure_ = (report.path() ? toQString(report.path()) + ": " : "") + toQString(report.failure);
    }
  };
  auto finish = [this, onEnd = std::move(onEnd)](bool isComplete) {
    job_.reset();
    progress_->hide();
    onEnd(isComplete);
    updateActions();
  };
  try {
    job_ = std::make_unique<Job>(arguments, std::move(take), std::move(finish));
    progress_->show();
  } catch (const std::system_error& error) {
    status_->setText(error.what());
  }
  updateActions();
}

void Window::addEntry(const tour::Report& entry) {
  const std::string path = entry.path().value_or("(no name)");
  QTreeWidgetItem* const item = itemAt(path);
  if (!entry.isFolder()) {
    item->setIcon(nameColumn, iconOf(item->text(nameColumn)));
    item->setText(sizeColumn, sizeText(entry.actualSize()));
    item->setText(kindColumn, kindText(path));
    size_ += entry.actualSize();
  }
  item->setText(dateColumn, toQString(fileDateDescription(entry.modificationTime())));
}

QTreeWidgetItem* Window::itemAt(const std::string& path) {
  QTreeWidgetItem* item = entries_->invisibleRootItem();
  std::size_t start = 0;
  for (int level = 1; start < path.size(); ++level) {
    const std::size_t end =
        std::min(level < mostLevels ? path.find('/', start) : std::string::npos, path.size());
    QTreeWidgetItem*& found = items_[path.substr(0, end)];
    if (found == nullptr) {
      found = new QTreeWidgetItem(item, {QString::fromStdString(path.substr(start, end - start))});
      // A folder until it is known to be something else.
      found->setIcon(nameColumn, QIcon::fromTheme("folder"));
      found->setText(kindColumn, "Folder");
      found->setTextAlignment(sizeColumn, Qt::AlignRight | Qt::AlignVCenter);
    }
    item = found;
    start = end + 1;
  }
  return item;
}

void Window::updateActions() {
  const bool isIdle = job_ == nullptr;
  extractAction_->setEnabled(isIdle && isListed_ && !volumes_.paths.empty());
  trashAction_->setEnabled(isIdle && !volumes_.paths.empty());
}
