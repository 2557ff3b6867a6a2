# The headers that hosts include. They are installed, checked one by one and documented; every
# other header of src/ is internal.
include_guard()

set(qv_public_headers)
macro(qv_add_public_headers folder)
  foreach(header ${ARGN})
    list(APPEND qv_public_headers ${folder}/${header})
  endforeach()
endmacro()

qv_add_public_headers(base Export.h Points.h Vectors.h AffineMatrix.h ProjMatrix.h qvLinear.h CString.h
                      NearWords.h TumbleView.h)
qv_add_public_headers(
  core
  qvSharedObject.h
  Exception.h
  DataType.h
  qvArray.h
  qvBitField.h
  MemMappedFile.h
  IResource.h)
qv_add_public_headers(
  shadingdag
  FileLocation.h
  Diagnostic.h
  SourceIndex.h
  Token.h
  Tokenizer.h
  ShadingParser.h
  ShadingChecker.h
  CompFreqRange.h
  TypedConstant.h
  ShadingAttribute.h
  ShadingNode.h
  ShadingLink.h
  ShadingNodeSpec.h
  Graphviz.h)
qv_add_public_headers(evaluation ShadingValue.h Primitives.h Texture.h GraphEvaluator.h)
qv_add_public_headers(
  hsl
  HSLToken.h
  HSLStringContainer.h
  HSLNamedItem.h
  HSLApp2VtxConnector.h
  HSLVtx2FragConnector.h
  HSLProgramUniformItem.h
  HSLProgramConstant.h
  HSLVertexProgram.h
  HSLFragmentProgram.h
  IShadingDagConvertor.h
  HSLConvertor.h)
qv_add_public_headers(
  conversion
  HostUniforms.h
  HSLTextConvertor.h
  Placement.h
  ProgramConvertor.h
  ProgramEvaluator.h
  ProgramInterface.h
  ProgramTarget.h)
qv_add_public_headers(
  geometry
  IBounds.h
  AABoundingBox.h
  BoundingSphere.h
  Frustum.h
  DepthSorter.h
  GeometryData.h
  GeometryDataIndex.h
  GeometryLogicalGroup.h
  GeometryLogicalIterator.h
  GeometryDataIterator.h
  ParticleData.h
  ParticleDataIterator.h)
qv_add_public_headers(imaging TportColor.h)
qv_add_public_headers(
  pixels
  IPixelFormat.h
  qvBufferFormat.h
  qvSysPixelFormat.h
  qvColorFormat.h
  qvColorFormatRGBAFixed8.h
  qvColorFormatRGBAFloat.h
  IPixelArray.h
  PixelArray1D.h
  PixelArray2D.h
  PixelArray3D.h
  PixelArrayCubeMap.h
  ImageFiles.h)
qv_add_public_headers(resources IHWCamera.h IHWLight.h)
qv_add_public_headers(window MessageHandler.h WindowWrapper.h ISimpleWindow.h SimpleWindow.h
                      TumbleWindowsHandler.h)
