#include "KSTFolderReader.h"

KSTFolderReader::KSTFolderReader() : m_buffer(new char[BufferSize]) {}
