#include <connector/file/v1/FileServiceProvider.h>
#include <connector/file/v1/Messages.h>

namespace connector {

using file::v1::FileServiceProvider;

template class MessageAPI<file::v1::CreateFile, FileServiceProvider>;
template class MessageAPI<file::v1::OpenOrCreateFile, FileServiceProvider>;
template class MessageAPI<file::v1::OpenFile, FileServiceProvider>;
template class MessageAPI<file::v1::UpdateFile, FileServiceProvider>;
template class MessageAPI<file::v1::CloseFile, FileServiceProvider>;
template class MessageAPI<file::v1::RenameFile, FileServiceProvider>;
template class MessageAPI<file::v1::MoveFile, FileServiceProvider>;
template class MessageAPI<file::v1::DeleteFile, FileServiceProvider>;
template class MessageAPI<file::v1::ListFolder, FileServiceProvider>;

} // namespace connector
